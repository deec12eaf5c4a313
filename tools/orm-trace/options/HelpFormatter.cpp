#include "tools/orm-trace/options/HelpFormatter.h"

#include <set>
#include <vector>

namespace orm_trace {
namespace {

// By name: the set is in the order of addresses.
std::string Joined(const std::set<CLI::Option*>& options, const std::string& separator) {
    std::set<std::string> names;
    for (const CLI::Option* option : options) names.insert(option->get_name());
    return CLI::detail::join(names, separator);
}

}  // namespace

std::string ValueName(const CLI::Option& option) {
    if (option.get_positional()) return option.get_name(true);
    if (option.get_items_expected_max() == 0) return "";
    return option.get_option_text().empty() ? option.get_type_name() : option.get_option_text();
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    const std::string value = option->get_positional() ? "" : ValueName(*option);  // the name of a positional says it
    return value.empty() ? "" : ' ' + value;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
    std::vector<std::string> conditions;
    // For positional arguments the line on the usage says it.
    if (option->get_required() && !option->get_positional()) conditions.emplace_back("required");
    if (!option->get_needs().empty()) conditions.push_back("needs " + Joined(option->get_needs(), " and "));
    if (!option->get_excludes().empty()) conditions.push_back("not with " + Joined(option->get_excludes(), " or "));
    const std::string& description = option->get_description();
    return conditions.empty() ? description : description + " (" + CLI::detail::join(conditions, ", ") + ')';
}

}  // namespace orm_trace

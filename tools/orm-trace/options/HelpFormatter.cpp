#include "tools/orm-trace/options/HelpFormatter.h"

#include <set>
#include <string>
#include <string_view>

namespace orm_trace {
namespace {

// Returns: the names of some options, after a word; "" for none.
std::string Named(std::string_view word, const std::set<CLI::Option*>& options) {
    std::set<std::string> names;
    for (const CLI::Option* option : options) names.insert(option->get_name());
    std::string text;
    for (const std::string& name : names) (text += text.empty() ? word : ", ") += name;
    return text;
}

}  // namespace

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    std::string text;
    if (!option->get_option_text().empty()) {
        text = ' ' + option->get_option_text();
    } else if (option->get_items_expected_max() != 0 && option->get_type_name() != "TEXT") {
        text = ' ' + option->get_type_name();
    }
    if (option->get_positional() && option->get_items_expected_max() > 1) text += " ...";
    return text;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
    std::string text = option->get_description();
    const bool isRequired = option->get_required() && !option->get_positional();
    for (const std::string& note : {isRequired ? std::string("required") : "", Named("needs ", option->get_needs()),
                                    Named("not with ", option->get_excludes())}) {
        if (!note.empty()) text += " (" + note + ')';
    }
    return text;
}

}  // namespace orm_trace

#include "tools/orm-trace/options/SectionOptions.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <set>
#include <utility>

#include "capture/Error.h"
#include "capture/Text.h"
#include "tools/orm-trace/options/ParseNumber.h"
#include "tools/orm-trace/options/SectionName.h"

namespace orm_trace {

SectionSource ParseSection(const std::string& text) {
    const std::size_t at = text.find('@');
    const std::size_t colon = text.substr(0, at).rfind(':');
    const auto version =
        at != text.npos && colon != text.npos ? ParseNumber(text.substr(colon + 1, at - colon - 1)) : std::nullopt;
    if (!version || *version > UINT32_MAX || at + 1 == text.size()) {
        throw Error(ErrorKind::kArgument, text, "is not of the form NAME:VERSION@FILE");
    }
    return {SectionName(text.substr(0, colon)), static_cast<std::uint32_t>(*version), text.substr(at + 1)};
}

void RequireNew(const AppendTarget& target, const std::string& name, std::uint32_t version) {
    if (!target.Has(name, version)) return;
    throw Error(ErrorKind::kFailed, target.Path(),
                "has a section " + SectionLabel(name, version) +
                    " already, readers would not see another one (--allow-duplicate)");
}

CLI::Option* SectionOptions::AddTo(CLI::App& app) {
    app.add_flag("--allow-duplicate", m_allowDuplicate, "Write a section even if readers see only an earlier one");
    return app
        .add_option("--section", m_texts,
                    "Section to write, with FILE's bytes as its data; a FILE of - is standard input")
        ->option_text("NAME:VERSION@FILE ...")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
}

std::vector<SectionSource> SectionOptions::Open() const {
    std::vector<SectionSource> sources;
    std::set<std::pair<std::string, std::uint32_t>> seen;
    for (const std::string& text : m_texts) {
        const SectionSource& source = sources.emplace_back(ParseSection(text));
        if (!seen.emplace(source.Name(), source.Version()).second && !m_allowDuplicate) {
            throw Error(ErrorKind::kFailed, text,
                        "is named twice, readers would not see the second (--allow-duplicate)");
        }
    }
    if (std::count_if(sources.begin(), sources.end(), std::mem_fn(&SectionSource::IsStandardInput)) > 1) {
        throw Error(ErrorKind::kArgument, "standard input", "cannot be the data of two sections");
    }
    for (SectionSource& source : sources) source.Open();
    return sources;
}

void SectionOptions::RequireNew(const std::vector<SectionSource>& sources, const AppendTarget& target) const {
    if (m_allowDuplicate) return;
    for (const SectionSource& source : sources) orm_trace::RequireNew(target, source.Name(), source.Version());
}

std::uint64_t SectionOptions::TotalSize(const std::vector<SectionSource>& sources) {
    return std::accumulate(sources.begin(), sources.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const SectionSource& source) { return sum + source.Size(); });
}

}  // namespace orm_trace

#include "tools/orm-trace/options/SectionOptions.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <set>
#include <utility>

#include "tools/orm-trace/output/Failure.h"

namespace orm_trace {

CLI::Option* SectionOptions::AddTo(CLI::App& app) {
    app.add_flag("--allow-duplicate", m_allowDuplicate, "Write a section also where readers see only one before it");
    return app
        .add_option("--section", m_texts,
                    "Section to write, with FILE's bytes as its data; a FILE of - is standard input")
        ->option_text("NAME:VERSION@FILE ...")
        ->expected(1)
        ->take_all();
}

std::vector<SectionSource> SectionOptions::Open() const {
    std::vector<SectionSource> sources;
    std::set<std::pair<std::string, std::uint32_t>> seen;
    for (const std::string& text : m_texts) {
        const SectionSource& source = sources.emplace_back(text);
        if (!seen.emplace(source.Name(), source.Version()).second && !m_allowDuplicate) {
            throw Failure(ExitCode::kFailed, text,
                          "is named twice, readers would not see the second (--allow-duplicate)");
        }
    }
    if (std::count_if(sources.begin(), sources.end(), std::mem_fn(&SectionSource::IsStandardInput)) > 1) {
        throw Failure(ExitCode::kUsage, "standard input", "cannot be the data of two sections");
    }
    for (SectionSource& source : sources) source.Open();
    return sources;
}

void SectionOptions::RequireNew(const std::vector<SectionSource>& sources, const AppendTarget& target) const {
    if (m_allowDuplicate) return;
    for (const SectionSource& source : sources) target.RequireNew(source.Name(), source.Version());
}

std::uint64_t SectionOptions::TotalSize(const std::vector<SectionSource>& sources) {
    return std::accumulate(sources.begin(), sources.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const SectionSource& source) { return sum + source.Size(); });
}

}  // namespace orm_trace

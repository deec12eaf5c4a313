#include "tools/orm-trace/view/Report.h"

#include <algorithm>
#include <string_view>

#include "tools/orm-trace/view/Page.h"

namespace orm_trace {
namespace {

constexpr std::size_t kMaxAggregates = 300 * 1024;  // bytes of the aggregates

// Returns: the text of an answer, with as many columns as fit, a power of 2.
template <class Ask> std::string Fitting(Ask ask, std::size_t room) {
    std::uint64_t columns = 2048;
    std::string text = ask(columns);
    while (text.size() > room && columns > 64) text = ask(columns /= 2);
    return text;
}

// Nothing in the data may end the element that holds it.
std::string WithoutTags(std::string_view json) {
    std::string text;
    for (const char c : json) c == '<' ? text += "\\u003c" : text += c;
    return text;
}

}  // namespace

std::string ReportText(const CaptureView& view, const std::string& name, const ReportWords& words) {
    std::string json = R"({"version":1,"info":)" + view.Info(name);
    json += ",\"range\":" +
            Fitting([&](std::uint64_t columns) { return view.Range(0, view.Samples(), columns); }, kMaxAggregates / 2);
    json += ",\"times\":";
    json +=
        view.HasStamps()
            ? Fitting([&](std::uint64_t columns) { return view.Times(view.LeastTicks(), view.EndTicks(), columns); },
                      kMaxAggregates / 2)
            : "null";
    json += ",\"words\":";
    json += words.from < words.to ? view.WordsFrom(words.from, words.to - words.from) : "null";
    json += '}';
    std::string page = PageWith("<meta http-equiv=\"Content-Security-Policy\" content=\"" + ReportPolicy() + "\">",
                                "<script type=\"application/json\" id=\"capture\">" + WithoutTags(json) + "</script>");
    return page;
}

}  // namespace orm_trace

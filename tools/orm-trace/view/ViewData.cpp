#include "tools/orm-trace/view/ViewData.h"

#include <array>
#include <initializer_list>
#include <new>
#include <optional>
#include <system_error>

#include "analysis/WordFilter.h"
#include "tools/orm-trace/options/ParseNumber.h"
#include "tools/orm-trace/output/Json.h"

namespace orm_trace {

namespace http = boost::beast::http;

namespace {

constexpr std::uint64_t kMaxWords = 4096;  // of one answer

// Thrown for a question that cannot be answered.
struct BadQuestion {};
struct NoSuchName {};

void Require(bool holds) {
    if (!holds) throw BadQuestion();
}

// The members of a query, each of which is known.
class Members {
public:
    Members(const PageData::Query& query, std::initializer_list<const char*> names) : m_query(query) {
        std::size_t known = 0;
        for (const char* name : names) known += query.count(name);
        Require(known == query.size());
    }

    std::optional<std::uint64_t> Find(const char* name) const {
        const auto member = m_query.find(name);
        if (member == m_query.end()) return std::nullopt;
        const auto number = ParseNumber(member->second);
        Require(number.has_value());
        return number;
    }
    std::uint64_t Number(const char* name, std::uint64_t most = UINT64_MAX) const {
        const auto number = Find(name);
        Require(number && *number <= most);
        return *number;
    }
    // Returns: whether it is the first of two words, of which it has to be one.
    bool IsFirst(const char* name, const char* first, const char* second) const {
        const auto member = m_query.find(name);
        Require(member != m_query.end() && (member->second == first || member->second == second));
        return member->second == first;
    }

private:
    const PageData::Query& m_query;
};

WordFilter FilterOf(const Members& members) {
    const auto type = members.Find("type");
    if (!type) return WordFilter::Masked(members.Number("value"), members.Find("mask").value_or(UINT64_MAX));
    Require(*type < kTypes && !members.Find("value") && !members.Find("mask"));
    std::array<bool, kTypes> types{};
    types[static_cast<std::size_t>(*type)] = true;
    return WordFilter::OfTypes(types);
}

}  // namespace

PageData::Answer ViewData::Ask(const std::string& name, const Query& query) {
    const auto refuse = [](http::status status, const char* error) {
        return Answer{status, Json{{"error", error}, {"error_subject", "request"}}.dump()};
    };
    try {
        return {http::status::ok, Text(name, query)};
    } catch (const BadQuestion&) {
        return refuse(http::status::bad_request, "is not a question with an answer");
    } catch (const NoSuchName&) {
        return refuse(http::status::not_found, "is not known");
    } catch (const Error& error) {
        return {http::status::conflict, ErrorMembers(error).dump()};
    } catch (const std::bad_alloc&) {
        return refuse(http::status::service_unavailable, "needs more memory than is available");
    } catch (const std::system_error&) {  // a lane of Times has a thread
        return refuse(http::status::service_unavailable, "needs more threads than are available");
    }
}

std::string ViewData::Text(const std::string& name, const Query& query) const {
    if (name == "info") {
        const Members members(query, {});
        return m_view.Info(m_path);
    }
    if (name == "range" || name == "times") {
        const Members members(query, {"from", "to", "columns"});
        const std::uint64_t from = members.Number("from"), to = members.Number("to"),
                            columns = members.Number("columns", CaptureView::kMaxColumns);
        Require(from <= to && columns != 0);
        return name == "range" ? m_view.Range(from, to, columns) : m_view.Times(from, to, columns);
    }
    if (name == "words") {
        const Members members(query, {"from", "count"});
        return m_view.WordsFrom(members.Number("from"), members.Number("count", kMaxWords));
    }
    if (name == "find") {
        const Members members(query, {"value", "mask", "type", "from", "direction"});
        const bool isNext = members.IsFirst("direction", "next", "previous");
        return m_view.Find(FilterOf(members), members.Number("from"),
                           isNext ? CaptureView::Direction::kNext : CaptureView::Direction::kPrevious);
    }
    if (name == "steps") {
        const Members members(query, {"kind", "from", "to"});
        const bool isGaps = members.IsFirst("kind", "gaps", "steps_back");
        return m_view.StepsOf(isGaps ? CaptureView::StepKind::kGaps : CaptureView::StepKind::kBack,
                              members.Number("from"), members.Number("to"));
    }
    throw NoSuchName();
}

}  // namespace orm_trace

#include "tools/orm-trace/view/PageResponder.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace orm_trace {

namespace http = boost::beast::http;

namespace {

constexpr std::string_view kData = "/data/";
constexpr const char kTokenHeader[] = "X-Orm-Token";

std::string_view View(boost::beast::string_view text) { return {text.data(), text.size()}; }

// Returns: the value of a header that a request has once; nothing without it, or with several of it.
template <class Name> std::optional<std::string_view> Single(const PageRequest& request, Name name) {
    const auto [begin, end] = request.equal_range(name);
    if (begin == end || std::next(begin) != end) return std::nullopt;
    return View(begin->value());
}

int DigitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Returns: the text with each %XX as its byte; nothing if something else follows a %, or for a zero byte.
std::optional<std::string> Decoded(std::string_view text) {
    std::string decoded;
    for (std::size_t n = 0; n < text.size(); ++n) {
        char c = text[n];
        if (c == '%') {
            if (n + 2 >= text.size()) return std::nullopt;
            const int high = DigitOf(text[n + 1]), low = DigitOf(text[n + 2]);
            if (high < 0 || low < 0) return std::nullopt;
            c = static_cast<char>(16 * high + low);
            n += 2;
        }
        if (c == '\0') return std::nullopt;
        decoded += c;
    }
    return decoded;
}

// Returns: the members of a query, key=value&key=value; nothing for another text, or when a key comes twice.
std::optional<PageData::Query> ParseQuery(std::string_view text) {
    PageData::Query query;
    while (!text.empty()) {
        const std::string_view part = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(text.size(), part.size() + 1));
        const std::size_t equal = part.find('=');
        if (equal == part.npos) return std::nullopt;
        auto key = Decoded(part.substr(0, equal)), value = Decoded(part.substr(equal + 1));
        if (!key || !value || !query.emplace(std::move(*key), std::move(*value)).second) return std::nullopt;
    }
    return query;
}

// Takes as long for every text of the same length.
bool IsEqual(std::string_view given, std::string_view secret) {
    if (given.size() != secret.size()) return false;
    unsigned difference = 0;
    for (std::size_t n = 0; n < secret.size(); ++n) {
        difference |=
            static_cast<unsigned char>(given[n]) ^ static_cast<unsigned>(static_cast<unsigned char>(secret[n]));
    }
    return difference == 0;
}

}  // namespace

PageResponder::PageResponder(std::string page, std::string policy, std::string host, std::string token, PageData& data)
    : m_page(std::move(page)),
      m_policy(std::move(policy)),
      m_host(std::move(host)),
      m_token(std::move(token)),
      m_data(data) {}

bool PageResponder::AsksForData(const PageRequest& request) noexcept {
    return View(request.target()).substr(0, kData.size()) == kData;
}

PageResponse PageResponder::Respond(const PageRequest& request) const {
    if (request.method() != http::verb::get) {
        PageResponse response = Refuse(http::status::method_not_allowed);
        if (request.method() == http::verb::head) response.body().clear();  // the client takes the next answer for it
        return response;
    }
    // Another name for this machine would let a page from elsewhere ask in its own name.
    if (Single(request, http::field::host) != m_host) return Refuse(http::status::misdirected_request);
    if (request.count(http::field::content_length) != 0 || request.count(http::field::transfer_encoding) != 0) {
        return Refuse(http::status::bad_request);
    }
    const std::string_view target = View(request.target());
    const std::string_view path = target.substr(0, target.find('?'));
    if (target == "/") return Make(http::status::ok, "text/html; charset=utf-8", m_page);
    if (path.substr(0, kData.size()) != kData) return Refuse(http::status::not_found);
    if (IsFromElsewhere(request) || !HasToken(request)) return Refuse(http::status::forbidden);
    const auto query = ParseQuery(target.substr(std::min(target.size(), path.size() + 1)));
    if (!query) return Refuse(http::status::bad_request);
    PageData::Answer answer = m_data.Ask(std::string(path.substr(kData.size())), *query);
    return Make(answer.status, "application/json", std::move(answer.json));
}

PageResponse PageResponder::Refuse(http::status status) const {
    PageResponse response = Make(status, "application/json", R"({"error":"refused","error_subject":"request"})");
    if (status == http::status::method_not_allowed) response.set(http::field::allow, "GET");
    return response;
}

PageResponse PageResponder::Make(http::status status, const char* type, std::string body) const {
    PageResponse response(status, 11);
    response.set(http::field::content_type, type);
    response.set("Content-Security-Policy", m_policy);
    response.set("X-Content-Type-Options", "nosniff");
    response.set("X-Frame-Options", "DENY");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
    response.set(http::field::cache_control, "no-store");
    response.body() = std::move(body);
    response.prepare_payload();
    return response;
}

// Browsers say so, with either header. The page itself may be opened from anywhere: it holds no data.
bool PageResponder::IsFromElsewhere(const PageRequest& request) const {
    const auto isOther = [&](auto name, auto isAllowed) {
        return request.count(name) != 0 && !isAllowed(Single(request, name).value_or(""));
    };
    return isOther(http::field::origin, [&](std::string_view origin) { return origin == "http://" + m_host; }) ||
           isOther("Sec-Fetch-Site", [](std::string_view site) { return site == "same-origin" || site == "none"; });
}

bool PageResponder::HasToken(const PageRequest& request) const {
    const auto token = Single(request, kTokenHeader);
    return token && IsEqual(*token, m_token);
}

}  // namespace orm_trace

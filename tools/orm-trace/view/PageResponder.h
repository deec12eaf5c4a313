// Answering the requests of the page.
#pragma once

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace orm_trace {

using PageRequest = boost::beast::http::request<boost::beast::http::empty_body>;
using PageResponse = boost::beast::http::response<boost::beast::http::string_body>;

// What the page gets its data from.
class PageData {
public:
    using Query = std::map<std::string, std::string>;

    struct Answer {
        boost::beast::http::status status;
        std::string json;
    };

    virtual ~PageData() = default;

    // Returns: the answer to what is asked for under a name. Threads: any number may ask.
    virtual Answer Ask(const std::string& name, const Query& query) = 0;
};

// Gives the page to whoever asks this machine for it, and data only to the page, which knows the token. No answer repeats
// anything of its request.
//
// Threads: any number may ask.
class PageResponder {
public:
    // page, policy: the page, and its Content-Security-Policy. host: what requests have to name as their host, an address
    // and a port. data: outlives this.
    PageResponder(std::string page, std::string policy, std::string host, std::string token, PageData& data);

    // Whether the answer may take long.
    static bool AsksForData(const PageRequest& request) noexcept;

    // Returns: the answer to a request that could be parsed.
    PageResponse Respond(const PageRequest& request) const;
    // Returns: an answer without data.
    PageResponse Refuse(boost::beast::http::status status) const;

private:
    PageResponse Make(boost::beast::http::status status, const char* type, std::string body) const;
    bool IsFromElsewhere(const PageRequest& request) const;
    bool HasToken(const PageRequest& request) const;

    std::string m_page;
    std::string m_policy;
    std::string m_host;
    std::string m_token;
    PageData& m_data;
};

}  // namespace orm_trace

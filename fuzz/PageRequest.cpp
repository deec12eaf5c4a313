// Requests to the page's server, as bytes: data goes only to a request that names the host and the token, and no answer
// repeats what was asked.
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/serializer.hpp>

#include "fuzz/Fuzz.h"
#include "tools/orm-trace/view/PageResponder.h"

using namespace fuzz;
namespace http = boost::beast::http;
using orm_trace::PageData;

namespace {

constexpr char kHost[] = "127.0.0.1:4321", kToken[] = "00112233445566778899aabbccddeeff", kData[] = "the data";

struct Data : PageData {
    Answer Ask(const std::string& name, const Query& query) override {
        ++asked;
        Require(name.find('?') == name.npos);
        for (const auto& [key, value] : query) Require(key.find('\0') == key.npos && value.find('\0') == value.npos);
        return {http::status::ok, kData};
    }
    int asked = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Data source;
    static const orm_trace::PageResponder responder("the page", "the policy", kHost, kToken, source);
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    boost::asio::const_buffer rest(data, size);
    // As the server does: one request after the other, of at most 8 KiB.
    while (rest.size() != 0) {
        http::request_parser<http::empty_body> parser;
        parser.header_limit(8 * 1024);
        parser.body_limit(std::uint64_t{0});
        boost::system::error_code error;
        rest += parser.put(rest, error);
        if (error || !parser.is_done()) break;
        source.asked = 0;
        const auto response = responder.Respond(parser.get());
        Require((response.body() == kData) == (source.asked == 1));
        if (source.asked != 0) {
            Require(bytes.find(kToken) != bytes.npos && bytes.find(kHost) != bytes.npos);
            Require(parser.get().method() == http::verb::get && parser.get().count(http::field::host) == 1);
        }
        Require(response.count("Content-Security-Policy") == 1 && response.count("Set-Cookie") == 0);
        for (const auto& field : response) Require(field.value().find('\r') == field.value().npos);
        const unsigned status = response.result_int();
        Require(status == 200 || status == 400 || status == 403 || status == 404 || status == 405 || status == 421);
    }
    return 0;
}

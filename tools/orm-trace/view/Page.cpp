#include "tools/orm-trace/view/Page.h"

#include "PageText.h"  // made of view/page.html and view/policy.txt

namespace orm_trace {
namespace {

std::string Policy(const std::string& connect) {
    return "default-src 'none'; " + std::string(kPagePolicy) + "; connect-src " + connect +
           "; base-uri 'none'; form-action 'none'";
}

void Replace(std::string& text, std::string_view place, std::string_view with) {
    text.replace(text.find(place), place.size(), with);
}

}  // namespace

std::string PageWith(std::string_view policy, std::string_view capture) {
    std::string page(reinterpret_cast<const char*>(kPageText), sizeof(kPageText));
    Replace(page, "<!-- policy -->", policy);
    Replace(page, "<!-- capture -->", capture);
    return page;
}

std::string ServedPolicy() { return Policy("'self'") + "; frame-ancestors 'none'"; }

// A meta element cannot say who may frame a page.
std::string ReportPolicy() { return Policy("'none'"); }

}  // namespace orm_trace

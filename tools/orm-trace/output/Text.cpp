#include "tools/orm-trace/output/Text.h"

#include <array>
#include <charconv>

namespace orm_trace {

std::string Counted(std::uint64_t number, std::string_view thing) {
    return (std::to_string(number) + ' ').append(thing) + (number == 1 ? "" : "s");
}

std::string Missing(std::uint64_t missing, std::uint64_t wanted, std::string_view thing) {
    return std::to_string(missing) + " of " + Counted(wanted, thing) + (missing == 1 ? " is missing" : " are missing");
}

void AppendHexWord(std::string& text, std::uint64_t word, int digits) {
    std::array<char, 18> word0x{'0', 'x'};
    PutHex(word0x.data() + 2, word, digits);
    text.append(word0x.data(), 2 + static_cast<std::size_t>(digits));
}

void AppendDec(std::string& text, std::uint64_t number) {
    std::array<char, 20> digits;
    text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

}  // namespace orm_trace

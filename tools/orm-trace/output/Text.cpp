#include "tools/orm-trace/output/Text.h"

namespace orm_trace {

std::string Counted(std::uint64_t number, std::string_view thing) {
    return (std::to_string(number) + ' ').append(thing) + (number == 1 ? "" : "s");
}

std::string Missing(std::uint64_t missing, std::uint64_t wanted, std::string_view thing) {
    return std::to_string(missing) + " of " + Counted(wanted, thing) + (missing == 1 ? " is missing" : " are missing");
}

void AppendHexWord(std::string& text, std::uint64_t word, int digits) {
    text += "0x";
    for (int shift = 4 * digits - 4; shift >= 0; shift -= 4) text += "0123456789abcdef"[(word >> shift) & 0xF];
}

}  // namespace orm_trace

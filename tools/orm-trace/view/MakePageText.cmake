# Writes OUT, a header with the bytes of PAGE and the text of POLICY.
file(READ ${PAGE} bytes HEX)
string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
file(READ ${POLICY} policy)
string(STRIP "${policy}" policy)
file(WRITE ${OUT} "#pragma once
namespace orm_trace {
inline constexpr unsigned char kPageText[] = {
${bytes}};
inline constexpr char kPagePolicy[] = \"${policy}\";
}  // namespace orm_trace
")

#include "tools/orm-trace/output/Json.h"

#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

constexpr int kSchemaVersion = 1;

}  // namespace

std::string JsonText(const Json& value) {
    std::string text = value.dump();
    // Only texts have these, so that they can be escaped in place.
    for (std::size_t n = 0; n < text.size(); ++n) {
        const auto byte = static_cast<unsigned char>(text[n]);
        const auto next = static_cast<unsigned char>(n + 1 < text.size() ? text[n + 1] : 0);
        const bool isDelete = byte == 0x7F, isControl = byte == 0xC2 && next >= 0x80 && next < 0xA0;
        if (!isDelete && !isControl) continue;
        text.replace(n, isDelete ? 1 : 2, "\\u00" + HexOf(text.substr(isDelete ? n : n + 1, 1)));
        n += 5;
    }
    return text;
}

void AddBytes(Json& object, const std::string& key, std::string_view bytes) {
    const bool isText = IsUtf8(bytes);
    object[key] = isText ? std::string(bytes) : Escaped(bytes);
    if (!isText) object[key + "_hex"] = HexOf(bytes);
}

Json FileMember(const std::string& path) {
    Json object;
    AddBytes(object, "file", path);
    return object;
}

Json ErrorMembers(const Error& error) {
    Json object;
    AddBytes(object, "error", error.what());
    AddBytes(object, "error_subject", error.Subject());
    return object;
}

JsonWriter::JsonWriter(Output& out, const char* command) : m_out(&out) {
    m_out->Write("{");
    m_open = '}';
    Value("schema_version", kSchemaVersion);
    Value("command", command);
}

void JsonWriter::Begin(char bracket, const char* key) {
    Separate(key);
    m_out->Write({&bracket, 1});
    m_open += bracket == '{' ? '}' : ']';
    m_first = true;
}

void JsonWriter::Value(const char* key, const Json& value) {
    Separate(key);
    m_out->Write(JsonText(value));
}

void JsonWriter::Members(const Json& object) {
    for (const auto& [key, value] : object.items()) Value(key.c_str(), value);
}

void JsonWriter::End() {
    m_out->Write({&m_open.back(), 1});
    m_open.pop_back();
    m_first = false;
    if (m_open.empty()) m_out->Write("\n");
}

void JsonWriter::EndTo(std::size_t depth) {
    while (m_open.size() > depth) End();
}

void JsonWriter::Redirect(Output& out, bool isFirst) {
    m_out = &out;
    m_first = isFirst;
}

// Elements of an array stand on lines of their own.
void JsonWriter::Separate(const char* key) {
    if (!m_first) m_out->Write(",");
    m_first = false;
    m_out->Write(key == nullptr ? "\n" : '"' + std::string(key) + "\":");
}

}  // namespace orm_trace

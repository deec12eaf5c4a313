#include "tools/orm-trace/output/Printer.h"

namespace orm_trace {

void JsonPrinter::BeginFile(const std::string& path) {
    m_json.Begin('{');
    File(path);
}

void JsonPrinter::EndFile(const Error* error) {
    constexpr std::size_t kFileDepth = 3;  // the document, the array of files, the file
    m_json.EndTo(kFileDepth);
    if (error) m_json.Members(ErrorMembers(*error));
    m_json.End();
}

void JsonPrinter::End(const Error* error) {
    m_json.EndTo(1);
    if (error) m_json.Members(ErrorMembers(*error));
    m_json.End();
}

void JsonLinesPrinter::EndFile(const Error* error) {
    if (error) Line(ErrorMembers(*error));
    m_file = Json::object();
}

void JsonLinesPrinter::End(const Error* error) {
    if (error) Line(ErrorMembers(*error));
}

void JsonLinesPrinter::Line(const Json& object) {
    Json line = m_file;
    line.update(object);
    m_out->Write(JsonText(line) + '\n');
}

}  // namespace orm_trace

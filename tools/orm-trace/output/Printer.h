// Printing the results of a subcommand, as text or as one JSON document.
//
// A subcommand finds, and hands what it found to a printer. It has two of them, a class derived from TextPrinter and one
// derived from JsonPrinter, with the same functions for its results.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tools/orm-trace/output/ExitCode.h"
#include "tools/orm-trace/output/Json.h"

namespace orm_trace {

class TextPrinter {
public:
    TextPrinter(Output& out, const char* /*command*/) : m_out(out) {}

    // Text has nothing around the results of a file. Errors are reported on standard error.
    void File(const std::string&) {}
    void BeginFiles(std::size_t /*count*/) {}
    void BeginFile(const std::string&) {}
    void EndFile(const Error* = nullptr) {}
    void End(const Error* = nullptr) {}

protected:
    void Write(std::string_view text) { m_out.Write(text); }

private:
    Output& m_out;
};

// The document is complete in any case; what went wrong stands in it as "error" and "error_subject".
class JsonPrinter {
public:
    JsonPrinter(Output& out, const char* command) : m_json(out, command) {}

    // The file that the document is about, or the array "files", in which each file has an object.
    void File(const std::string& path) { m_json.Members(FileMember(path)); }
    void BeginFiles(std::size_t /*count*/) { m_json.Begin('[', "files"); }
    void BeginFile(const std::string& path);
    void EndFile(const Error* error = nullptr);
    void End(const Error* error = nullptr);

protected:
    JsonWriter& Document() noexcept { return m_json; }

private:
    JsonWriter m_json;
};

// Does work(printer), and ends the document. Returns: what work returns. Errors: those of work.
template <class Printer, class Work> ExitCode PrintWith(Output& out, const char* command, Work work) {
    Printer printer(out, command);
    try {
        const ExitCode code = work(printer);
        printer.End();
        return code;
    } catch (const OutputError&) {
        throw;
    } catch (const Error& error) {
        printer.End(&error);
        throw;
    }
}

// The same with the printer that the command line asks for. REQUIRES: work takes both.
template <class Text, class Json, class Work> ExitCode Print(bool asJson, Output& out, const char* command, Work work) {
    return asJson ? PrintWith<Json>(out, command, work) : PrintWith<Text>(out, command, work);
}

// Does work(printer, file). An error is reported. Returns: what work returns, or the code of the error.
template <class Printer, class Work> ExitCode PrintFile(Printer& printer, const std::string& file, Work work) {
    printer.BeginFile(file);
    try {
        const ExitCode code = work(printer, file);
        printer.EndFile();
        return code;
    } catch (const OutputError&) {
        throw;
    } catch (const Error& error) {
        printer.EndFile(&error);
        Report(error);
        return ExitCodeOf(error);
    }
}

// Does that for each of the files. Returns: the highest code.
template <class Printer, class Work>
ExitCode PrintFiles(Printer& printer, const std::vector<std::string>& files, Work work) {
    ExitCode highest = ExitCode::kOk;
    printer.BeginFiles(files.size());
    for (const std::string& file : files) highest = std::max(highest, PrintFile(printer, file, work));
    return highest;
}

}  // namespace orm_trace

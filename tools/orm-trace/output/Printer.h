// Printing the results of a subcommand: as text, as one JSON document, or as one JSON object a line.
//
// A subcommand finds, and hands what it found to a printer. It has a class derived from TextPrinter and one derived from
// JsonPrinter, some also one derived from JsonLinesPrinter, with the same functions for its results.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tools/orm-trace/output/ExitCode.h"
#include "tools/orm-trace/output/Json.h"
#include "tools/orm-trace/output/OrderedWork.h"

namespace orm_trace {

class TextPrinter {
public:
    TextPrinter(Output& out, const char* /*command*/) : m_out(&out) {}

    // The output; and another one for what is printed from now on, a file of several.
    Output& Out() const noexcept { return *m_out; }
    void Redirect(Output& out, bool /*isFirst*/) { m_out = &out; }

    // Text has nothing around the results of a file. Errors are reported on standard error.
    void File(const std::string&) {}
    void BeginFiles(std::size_t /*count*/) {}
    void BeginFile(const std::string&) {}
    void EndFile(const Error* = nullptr) {}
    void End(const Error* = nullptr) {}

protected:
    void Write(std::string_view text) { m_out->Write(text); }

private:
    Output* m_out;
};

// The document is complete in any case; what went wrong stands in it as "error" and "error_subject".
class JsonPrinter {
public:
    JsonPrinter(Output& out, const char* command) : m_out(&out), m_json(out, command) {}

    Output& Out() const noexcept { return *m_out; }
    void Redirect(Output& out, bool isFirst) { m_json.Redirect(*(m_out = &out), isFirst); }

    // The file that the document is about, or the array "files", in which each file has an object.
    void File(const std::string& path) { m_json.Members(FileMember(path)); }
    void BeginFiles(std::size_t /*count*/) { m_json.Begin('[', "files"); }
    void BeginFile(const std::string& path);
    void EndFile(const Error* error = nullptr);
    void End(const Error* error = nullptr);

protected:
    JsonWriter& Document() noexcept { return m_json; }

private:
    Output* m_out;
    JsonWriter m_json;
};

// Lines have nothing around them. Where a subcommand takes several files each begins with its "file". An error is a line, too.
class JsonLinesPrinter {
public:
    JsonLinesPrinter(Output& out, const char* /*command*/) : m_out(&out) {}

    Output& Out() const noexcept { return *m_out; }
    void Redirect(Output& out, bool /*isFirst*/) { m_out = &out; }
    void File(const std::string&) {}
    void BeginFiles(std::size_t /*count*/) {}
    void BeginFile(const std::string& path) { m_file = FileMember(path); }
    void EndFile(const Error* error = nullptr);
    void End(const Error* error = nullptr);

protected:
    void Line(const Json& object);

private:
    Output* m_out;
    Json m_file = Json::object();
};

// How results are printed, by the options of the command line.
enum class PrintFormat { kText, kJson, kJsonLines };

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

template <class Text, class Json, class JsonLines, class Work>
ExitCode Print(PrintFormat format, Output& out, const char* command, Work work) {
    if (format == PrintFormat::kJsonLines) return PrintWith<JsonLines>(out, command, work);
    return Print<Text, Json>(format == PrintFormat::kJson, out, command, work);
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

// Does that for each of the files, for several of them at once if jobs is more than 1; the output is the same, in the
// order of the files. Returns: the highest code.
template <class Printer, class Work>
ExitCode PrintFiles(Printer& printer, const std::vector<std::string>& files, unsigned jobs, Work work) {
    printer.BeginFiles(files.size());
    std::vector<ExitCode> codes(files.size());
    if (jobs <= 1 || files.size() <= 1) {
        for (std::size_t n = 0; n < files.size(); ++n) codes[n] = PrintFile(printer, files[n], work);
    } else {
        WorkInOrder(printer.Out(), files.size(), jobs, [&](std::size_t n, Output& out) {
            Printer part = printer;
            part.Redirect(out, n == 0);
            codes[n] = PrintFile(part, files[n], work);
        });
    }
    return codes.empty() ? ExitCode::kOk : *std::max_element(codes.begin(), codes.end());
}

}  // namespace orm_trace

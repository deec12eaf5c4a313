// What subcommands have in common when they print: a document is complete, whatever fails while it is written.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tools/orm-trace/output/Json.h"

namespace orm_trace {

// Does work(json), where json is null unless a document is asked for. A Failure stands in the document too, which is
// complete in any case.
template <class Work> ExitCode WithDocument(Output& out, bool asked, const char* command, Work work) {
    if (!asked) return work(static_cast<JsonWriter*>(nullptr));
    JsonWriter json(out, command);
    try {
        const ExitCode code = work(&json);
        json.EndTo(0);
        return code;
    } catch (const OutputFailure&) {
        throw;
    } catch (const Failure& failure) {
        json.EndTo(1);
        json.Members(ErrorMember(failure));
        json.EndTo(0);
        throw;
    }
}

// Does work(file, json) for each of the files, with an object of its own in the array "files"; what fails is reported,
// and the next file taken. Returns: the highest code.
template <class Work>
ExitCode ForEachFile(const std::vector<std::string>& files, Output& out, bool asked, const char* command, Work work) {
    return WithDocument(out, asked, command, [&](JsonWriter* json) {
        ExitCode worst = ExitCode::kOk;
        if (json) json->Begin('[', "files");
        for (const std::string& file : files) {
            if (json) json->Begin('{');
            if (json) json->Members(FileMember(file));
            const std::size_t depth = json ? json->Depth() : 0;
            try {
                worst = std::max(worst, work(file, json));
            } catch (const OutputFailure&) {
                throw;
            } catch (const Failure& failure) {
                if (json) json->EndTo(depth);
                if (json) json->Members(ErrorMember(failure));
                Report(failure.Subject(), failure.what());
                worst = std::max(worst, failure.Code());
            }
            if (json) json->EndTo(depth - 1);
        }
        return worst;
    });
}

}  // namespace orm_trace

// JSON documents, written piece by piece: what they take of memory does not depend on how much is in them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orm-trace/Failure.h"
#include "tools/orm-trace/Output.h"

namespace orm_trace {

using Json = nlohmann::ordered_json;

// Returns: a 64-bit number as documents have it: a string, since readers may take numbers for floating-point ones.
inline Json Number64(std::uint64_t number) { return std::to_string(number); }

// Adds bytes under key: as they are when they are UTF-8, else escaped, and their digits under key_hex.
void AddBytes(Json& object, const std::string& key, std::string_view bytes);

// Returns: an object with the member "error" alone.
Json ErrorMember(const Failure& failure);

// Writes one document. Objects and arrays are open until they are ended; a key is null within an array.
class JsonWriter {
public:
    // Begins the document, an object with the version of its form and the subcommand.
    JsonWriter(Output& out, const char* command);

    void Begin(char bracket, const char* key = nullptr);
    void Value(const char* key, const Json& value);
    // Adds every member of an object to the object that is open.
    void Members(const Json& object);
    void Element(const Json& value) { Value(nullptr, value); }
    void End();

    // How many objects and arrays are open; ends those above depth.
    std::size_t Depth() const noexcept { return m_open.size(); }
    void EndTo(std::size_t depth);

private:
    void Separate(const char* key);

    Output& m_out;
    std::string m_open;  // brackets that are to come
    bool m_first = true;
};

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
            Json name;
            AddBytes(name, "file", file);
            if (json) json->Begin('{');
            if (json) json->Members(name);
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

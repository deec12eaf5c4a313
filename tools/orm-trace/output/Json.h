// JSON documents, written in parts: memory use does not depend on a document's size.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "capture/Error.h"
#include "tools/orm-trace/output/Output.h"

namespace orm_trace {

using Json = nlohmann::ordered_json;

// Returns: a 64-bit number as documents have it: a string, since many readers take numbers for floating-point ones.
inline Json Number64(std::uint64_t number) { return std::to_string(number); }

// Returns: a value as it is written, in one line and without a control character that a terminal could obey.
std::string JsonText(const Json& value);

// Adds bytes under key: as they are when they are UTF-8, else escaped, with their digits under key_hex.
void AddBytes(Json& object, const std::string& key, std::string_view bytes);

// Returns: an object with a file's name, the member "file".
Json FileMember(const std::string& path);

// Returns: an object with the members "error", the reason, and "error_subject", the file or whatever else it concerns.
Json ErrorMembers(const Error& error);

// Writes one document. Objects and arrays are open until they are ended; a key is null within an array.
class JsonWriter {
public:
    // Begins the document, an object with the version of the schema and the subcommand.
    JsonWriter(Output& out, const char* command);

    void Begin(char bracket, const char* key = nullptr);
    void Value(const char* key, const Json& value);
    // Adds every member of an object to the object that is open.
    void Members(const Json& object);
    void Element(const Json& value) { Value(nullptr, value); }
    void End();

    // Writes elsewhere from now on. isFirst: whether what is written next has nothing before it in its array.
    void Redirect(Output& out, bool isFirst);

    // Ends objects and arrays until only depth of them are open.
    void EndTo(std::size_t depth);

private:
    void Separate(const char* key);

    Output* m_out;
    std::string m_open;  // closing brackets to be written
    bool m_first = true;
};

}  // namespace orm_trace

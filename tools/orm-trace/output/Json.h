// JSON documents, written piece by piece: what they take of memory does not depend on how much is in them.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "tools/orm-trace/output/Failure.h"
#include "tools/orm-trace/output/Output.h"

namespace orm_trace {

using Json = nlohmann::ordered_json;

// Returns: a 64-bit number as documents have it: a string, since readers may take numbers for floating-point ones.
inline Json Number64(std::uint64_t number) { return std::to_string(number); }

// Adds bytes under key: as they are when they are UTF-8, else escaped, and their digits under key_hex.
void AddBytes(Json& object, const std::string& key, std::string_view bytes);

// Returns: an object with a file's name, the member "file".
Json FileMember(const std::string& path);

// Returns: an object with the members "error", the reason, and "error_subject", the file or whatever else it concerns.
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

}  // namespace orm_trace

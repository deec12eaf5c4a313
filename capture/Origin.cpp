#include "capture/Origin.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "capture/Error.h"
#include "capture/SectionWalk.h"
#include "capture/Text.h"

namespace orm_trace {
namespace {

using Json = nlohmann::ordered_json;

// Errors: those of Json, and std::invalid_argument.
std::uint64_t NumberIn(const Json& json, const char* key) {
    const auto& text = json.at(key).get_ref<const std::string&>();
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) throw std::invalid_argument(key);
    return number;
}

// Deeply nested values would overflow the stack where they are copied.
bool RefuseDepth(int depth, Json::parse_event_t, Json&) {
    if (depth > 1) throw std::invalid_argument("depth");
    return true;
}

std::string FileIn(const Json& json) {
    if (!json.contains("file_hex")) return json.at("file").get<std::string>();
    const auto name = BytesOfHex(json.at("file_hex").get_ref<const std::string&>());
    if (!name) throw std::invalid_argument("file_hex");
    return *name;
}

}  // namespace

std::optional<Origin> Origin::Find(const InputFile& file) {
    constexpr std::uint64_t kMaxData = 1 << 16;          // bytes
    constexpr std::size_t kMaxName = 255;                // bytes, of file systems
    constexpr std::uint64_t kMaxSample = INT64_MAX / 8;  // of the largest file
    SectionWalk walk(file);
    while (walk.Next()) {
        const auto& section = walk.Section();
        if (section.version != kVersion || section.name != kSection) continue;
        try {
            std::string data(static_cast<std::size_t>(std::min<std::uint64_t>(kMaxData, section.DataLength())), '\0');
            data.resize(file.ReadAt(section.DataOffset(), data.data(), data.size()));
            const Json json = Json::parse(data, RefuseDepth);
            const Origin origin{FileIn(json), NumberIn(json, "first_sample"), NumberIn(json, "count"),
                                json.at("tool_version").get<std::string>()};
            if (origin.file.size() > kMaxName || origin.first > kMaxSample) throw std::invalid_argument(kSection);
            return origin;
        } catch (const Json::exception&) {
        } catch (const std::invalid_argument&) {
        }
        throw Error(ErrorKind::kInput, file.Path(),
                    "section " + SectionLabel(kSection, kVersion) + " does not say where the samples are from");
    }
    return std::nullopt;
}

std::string Origin::Data() const {
    Json json;
    json["file"] = IsUtf8(file) ? file : Escaped(file);
    if (!IsUtf8(file)) json["file_hex"] = HexOf(file);
    json["first_sample"] = std::to_string(first);
    json["count"] = std::to_string(count);
    json["tool_version"] = version;
    return json.dump() + '\n';
}

}  // namespace orm_trace

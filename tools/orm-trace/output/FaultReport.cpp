#include "tools/orm-trace/output/FaultReport.h"

#include "tools/orm-trace/output/Text.h"

namespace orm_trace {

const char* EndText(const SectionWalk& walk) { return walk.Fault() ? "damaged" : "ends on a section boundary"; }

Json SectionJson(std::uint64_t index, const Orm::Lux::Trace::TDFSection& section) {
    Json object{{"index", Number64(index)},
                {"offset", Number64(section.offset)},
                {"length", section.length},
                {"version", section.version}};
    AddBytes(object, "name", section.name);
    object["data_position"] = section.DataOffset();
    object["data_length"] = section.DataLength();
    return object;
}

Json OriginJson(const Origin& origin) {
    Json object = FileMember(origin.file);
    object["first_sample"] = Number64(origin.first);
    object["count"] = Number64(origin.count);
    object["tool_version"] = origin.version;
    return object;
}

Json FaultJson(const LocatedFault& fault) {
    Json object{{"kind", fault.KindName()}, {"index", Number64(fault.index)}};
    if (fault.name) AddBytes(object, "name", *fault.name);
    object["offset"] = Number64(fault.offset);
    object["claimed"] = Number64(fault.claimed);
    object["available"] = Number64(fault.available);
    object["message"] = fault.Message();
    return object;
}

void AddFaults(JsonWriter& json, const SectionWalk& walk) {
    json.Begin('[', "faults");
    if (walk.Fault()) json.Element(FaultJson(*walk.Fault()));
    json.End();
    json.Value("trailing_bytes", Number64(walk.TrailingBytes()));
}

ExitCode ReportFault(const std::string& path, const SectionWalk& walk) {
    const ExitCode code = ReportFault(path, walk.Fault());
    if (walk.TrailingBytes() != 0) {
        Report(path, Counted(walk.TrailingBytes(), "byte") + " after the last section, from offset " +
                         OffsetText(walk.Fault()->offset));
    }
    return code;
}

ExitCode ReportFault(const std::string& path, const std::optional<LocatedFault>& fault) {
    if (!fault) return ExitCode::kOk;
    Report(path, fault->Message());
    return ExitCode::kNotATrace;
}

}  // namespace orm_trace

#include "tools/orm-trace/output/FaultReport.h"

#include "tools/orm-trace/output/Text.h"

namespace orm_trace {

Json SectionJson(std::uint64_t number, const Orm::Lux::Trace::TDFSection& section) {
    Json object{{"index", Number64(number)},
                {"offset", section.offset},
                {"length", section.length},
                {"version", section.version}};
    AddBytes(object, "name", section.name);
    object["data_position"] = section.DataPosition();
    object["data_length"] = section.DataLength();
    return object;
}

Json FaultJson(const Fault& fault) {
    Json object{{"kind", fault.Kind()}, {"section", Number64(fault.section)}};
    if (fault.name) AddBytes(object, "name", *fault.name);
    object["offset"] = Number64(fault.damage.offset);
    object["claimed"] = Number64(fault.damage.claimed);
    object["available"] = Number64(fault.damage.available);
    object["message"] = fault.Message();
    return object;
}

ExitCode ReportDamage(const std::string& path, const SectionWalk& walk, JsonWriter* json) {
    if (json) json->Begin('[', "faults");
    if (walk.Damage()) {
        Report(path, walk.Damage()->Message());
        if (json) json->Element(FaultJson(*walk.Damage()));
    }
    if (json) json->End();
    if (json) json->Value("bytes_behind", Number64(walk.BytesBehind()));
    if (walk.BytesBehind() != 0) {
        Report(path, Counted(walk.BytesBehind(), "byte") + " behind the last section, from offset " +
                         Position(walk.Damage()->damage.offset));
    }
    return walk.Damage() ? ExitCode::kNotATrace : ExitCode::kOk;
}

}  // namespace orm_trace

// The core of the Python package, in an interpreter: a capture is opened, and its sections, samples and words are asked
// for, beside a second walk and plain loops.
// The first byte of the input chooses the name of the file and the questions; the others are the file.
#include <pybind11/embed.h>
#include <pybind11/stl.h>

#include "capture/Error.h"
#include "fuzz/Fuzz.h"
#include "python/core/Errors.h"
#include "python/core/Questions.h"

using namespace fuzz;
namespace py = pybind11;
using orm_trace::Capture;

// What Python never frees is not the package's.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

namespace {

// Until the process ends: numpy cannot be started twice.
void StartPython() {
    setenv("PYTHONDONTWRITEBYTECODE", "1", 1);
    py::initialize_interpreter(false);  // the signals stay the fuzzer's
}

std::string NameBytes(const py::handle& name) {
    return py::bytes(name.attr("encode")("utf-8", "surrogateescape")).cast<std::string>();
}

void RequireSection(const py::handle& tuple, const Section& section, std::size_t size) {
    Require(NameBytes(tuple[py::int_(0)]) == section.name);
    const auto number = [&](int n) { return tuple[py::int_(n)].cast<std::uint64_t>(); };
    Require(number(1) == section.version && number(2) == section.offset && number(3) == section.length);
    Require(number(4) == section.Data());
    const std::uint64_t left = size - std::min<std::uint64_t>(size, section.Data());
    Require(number(5) == std::min(left, section.DataLength()));
}

void CheckSections(const Capture& capture, const std::string& file, const std::vector<Section>& sections, bool isTDF) {
    const py::tuple answer = capture.Sections();
    const py::list found = answer[0], faults = answer[1];
    Require(found.size() == sections.size());
    for (std::size_t n = 0; n < sections.size(); ++n) RequireSection(found[n], sections[n], file.size());
    const bool isWhole = !isTDF || (sections.empty() ? 4 : sections.back().End()) == file.size();
    Require(faults.size() == (isWhole ? 0 : 1));
    for (std::size_t n = 0; n < std::min<std::size_t>(sections.size(), 4); ++n) {
        const std::string name(sections[n].name);
        const auto version = static_cast<std::uint32_t>(sections[n].version);
        RequireSection(capture.FindSection(name, version), *Find(sections, name, version), file.size());
        const auto first =
            std::find_if(sections.begin(), sections.end(), [&](const auto& each) { return each.name == name; });
        RequireSection(capture.FindSection(name, {}), *first, file.size());
    }
    Require(capture.FindSection("no such section", 1).is_none() || Find(sections, "no such section", 1) != nullptr);
}

void CheckQuestions(const Capture& capture, const orm_trace::ByteRange& range, const std::vector<std::uint64_t>& words,
                    unsigned what) {
    const orm_trace::WordSource source(capture, range.offset, words.size());
    const std::uint64_t value = words.empty() ? 0 : words[what % words.size()];
    const std::uint64_t mask = what & 64 ? UINT64_MAX : std::uint64_t{0xFF} << 56;
    std::vector<std::uint64_t> hits;
    std::uint64_t stamps = 0;
    for (std::size_t n = 0; n < words.size(); ++n) {
        if (((words[n] ^ value) & mask) == 0) hits.push_back(n);
        stamps += IsStampType(words[n] >> 56);
    }
    const auto found = orm_trace::Find(source, value, mask);
    Require(std::vector<std::uint64_t>(found.data(), found.data() + found.size()) == hits);
    const py::dict stats = orm_trace::Stats(source, 0, 1000, 3);
    Require(stats["samples"].cast<std::uint64_t>() == words.size());
    Require(stats["stamps"]["count"].cast<std::uint64_t>() == stamps);
    const std::size_t columns = what % 7 + 1;
    const py::dict picture = orm_trace::Columns(source, columns, 0, 1000, 3);
    const auto types = picture["types"].cast<py::array_t<std::uint64_t>>();
    const auto edges = picture["edges"].cast<py::array_t<std::uint64_t>>();
    std::vector<std::uint64_t> expected(columns * 256);
    Require(edges.at(0) == 0 && edges.at(columns) == words.size());
    for (std::size_t column = 0; column < columns; ++column)
        for (std::size_t n = edges.at(column); n < edges.at(column + 1); ++n)
            ++expected[column * 256 + (words[n] >> 56)];
    Require(std::equal(expected.begin(), expected.end(), types.data()));
    Require(picture["steps_back_count"].equal(stats["steps_back_count"]));
    Require(picture["gaps"].equal(stats["gaps"]));
}

void CheckWords(const Capture& capture, const orm_trace::ByteRange& range, const std::string& file, unsigned what) {
    std::vector<std::uint64_t> words(range.size / 8);
    for (std::size_t n = 0; n < words.size(); ++n)
        words[n] = Le32(file, range.offset + 8 * n) | Le32(file, range.offset + 8 * n + 4) << 32;
    py::array_t<std::uint64_t, py::array::c_style> array(static_cast<py::ssize_t>(words.size()));
    capture.ReadWords(range.offset, array);
    const auto mapped = capture.MapWords(range.offset, words.size());
    Require(std::equal(words.begin(), words.end(), array.data()));
    Require(mapped.size() == array.size() && !mapped.writeable());
    Require(std::memcmp(mapped.data(), array.data(), range.size) == 0);
    Require(capture.ReadBytes(range).cast<std::string>() == file.substr(range.offset, range.size));
    CheckQuestions(capture, range, words, what);
    // What the file does not have is refused.
    Require(!ErrorOf([&] { capture.ReadBytes({range.offset, file.size() - range.offset + 1}); }).empty());
    Require(!ErrorOf([&] { capture.MapWords(range.offset, (file.size() - range.offset) / 8 + 1); }).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    static const bool isReady = (StartPython(), true);
    Require(isReady);
    Input input(data, size);
    const unsigned what = input.Number();
    const bool isNamed = what < 128;
    const char* const name = isNamed ? "f.tdf" : "f.bin";
    const std::string file(input.Rest());
    WriteFile(name, file);
    Capture capture(name);
    const bool isTDF = file.substr(0, 4) == "TDF2";
    const Capture::Facts& facts = capture.Known();
    Require(facts.hasIdentifier == isTDF && facts.isNamedTdf == isNamed && facts.size == file.size());
    Require(facts.absolutePath == folder.Path() + '/' + name);
    const auto sections = isTDF ? Walk(file) : std::vector<Section>();
    CheckSections(capture, file, sections, isTDF);

    const Section* const trace = Find(sections, "BinTraceData", 1);
    const auto range = capture.Samples();
    Require(range.has_value() == (!isTDF || !isNamed || trace != nullptr));
    if (range && isTDF && isNamed) {
        const std::uint64_t left = file.size() - std::min<std::uint64_t>(file.size(), trace->Data());
        Require(range->offset == trace->Data() && range->size == std::min(left, trace->DataLength()) / 8 * 8);
    } else if (range) {
        Require(range->offset == 0 && range->size == file.size() / 8 * 8);
    }
    if (range && range->offset <= file.size()) CheckWords(capture, *range, file, what);
    capture.Close();
    Require(!ErrorOf([&] { capture.Sections(); }).empty());
    Require(ReadFile(name) == file);
    return 0;
}

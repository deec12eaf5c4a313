// The module orm_trace._core. orm_trace/_core.pyi has its types.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "python/core/Capture.h"
#include "python/core/Errors.h"
#include "python/core/Questions.h"
#include "python/core/Unlocked.h"
#include "python/core/WordSource.h"
#include "python/core/Writing.h"

namespace py = pybind11;
using namespace orm_trace;
using namespace py::literals;

namespace {

// Without the lock: opening a file of another machine may take its time.
std::unique_ptr<Capture> OpenCapture(const std::string& path) {
    const Unlocked unlocked;
    return std::make_unique<Capture>(path);
}

void DefineCapture(py::module_& module) {
    py::class_<Capture>(module, "Capture")
        .def(py::init(&OpenCapture), "path"_a)
        .def_property_readonly("path", [](const Capture& capture) { return py::bytes(capture.Known().path); })
        .def_property_readonly("absolute_path",
                               [](const Capture& capture) { return py::bytes(capture.Known().absolutePath); })
        .def_property_readonly("size", [](const Capture& capture) { return capture.Known().size; })
        .def_property_readonly("mtime_ns", [](const Capture& capture) { return capture.Known().modified; })
        .def_property_readonly("has_identifier", [](const Capture& capture) { return capture.Known().hasIdentifier; })
        .def_property_readonly("is_named_tdf", [](const Capture& capture) { return capture.Known().isNamedTdf; })
        .def_property_readonly("closed", &Capture::IsClosed)
        .def("close", &Capture::Close)
        .def("current_state", &Capture::CurrentState)
        .def("samples",
             [](const Capture& capture) -> py::object {
                 const auto range = capture.Samples();
                 if (!range) return py::none();
                 return py::make_tuple(range->offset, range->size / sizeof(std::uint64_t));
             })
        .def("sections", &Capture::Sections)
        .def("find_section", &Capture::FindSection, "name"_a, "version"_a)
        .def(
            "read_bytes",
            [](const Capture& capture, std::uint64_t offset, std::uint64_t size) {
                return capture.ReadBytes({offset, size});
            },
            "offset"_a, "size"_a)
        .def("read_words", &Capture::ReadWords, "offset"_a, "words"_a.noconvert())
        .def("map_words", &Capture::MapWords, "offset"_a, "count"_a);
}

void DefineQuestions(py::module_& module) {
    py::class_<WordSource>(module, "WordSource")
        .def(py::init<WordSource::Array>(), "words"_a.noconvert())
        .def(py::init<const Capture&, std::uint64_t, std::uint64_t>(), "capture"_a, "offset"_a, "count"_a);
    module.def("find", &Find, "words"_a, "value"_a, "mask"_a);
    module.def("is_stamp", &IsStampOf, "words"_a);
    module.def("ticks", &Ticks, "words"_a, "reference"_a, "other"_a);
    module.def("times", &Times, "words"_a, "zero"_a, "reference"_a);
    module.def("stats", &Stats, "words"_a, "reference"_a, "gap"_a, "limit"_a);
    module.def("columns", &Columns, "words"_a, "columns"_a, "reference"_a, "gap"_a, "limit"_a);
}

void DefineWriting(py::module_& module) {
    py::class_<NewSection>(module, "NewSection")
        .def(py::init<std::string, std::uint32_t, const py::buffer&>(), "name"_a, "version"_a, "data"_a)
        .def(py::init([](std::string name, std::uint32_t version, const Capture& capture, std::uint64_t offset,
                         std::uint64_t size) {
                 return NewSection(std::move(name), version, capture, ByteRange{offset, size});
             }),
             "name"_a, "version"_a, "capture"_a, "offset"_a, "size"_a);
    module.def("create", &Create, "path"_a, "sections"_a, "replace"_a);
    module.def("append", &Append, "path"_a, "section"_a);
}

}  // namespace

PYBIND11_MODULE(_core, module) {
    module.doc() = "The core of orm_trace. Use the package.";
    py::options options;
    options.disable_function_signatures();
    RegisterErrors();
    DefineCapture(module);
    DefineQuestions(module);
    DefineWriting(module);
}

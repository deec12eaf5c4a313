#include "python/core/Errors.h"

#include <pybind11/pybind11.h>

#include <cerrno>
#include <exception>

#include "capture/Error.h"

namespace py = pybind11;

namespace orm_trace {
namespace {

// As os.fsdecode. Returns: a path, or a text with paths, as Python's programs have it.
py::object Decoded(const std::string& text) {
    return py::reinterpret_steal<py::object>(
        PyUnicode_DecodeFSDefaultAndSize(text.data(), static_cast<Py_ssize_t>(text.size())));
}

void SetFormatError(const std::string& path, const std::optional<std::uint64_t>& offset, const std::string& reason) {
    const py::object type = py::module_::import("orm_trace._errors").attr("FormatError");
    const py::object where = offset ? py::object(py::int_(*offset)) : py::object(py::none());
    PyErr_SetObject(type.ptr(), py::make_tuple(Decoded(path), where, Decoded(reason)).ptr());
}

void SetSystemError(int number, const Error& error) {
    PyErr_SetObject(PyExc_OSError, py::make_tuple(number, Decoded(error.what()), Decoded(error.Subject())).ptr());
}

void SetError(const Error& error) {
    if (error.SystemError() != 0) return SetSystemError(error.SystemError(), error);
    switch (error.Kind()) {
        case ErrorKind::kArgument:
            return PyErr_SetObject(PyExc_ValueError, Decoded(error.Subject() + ": " + error.what()).ptr());
        case ErrorKind::kInput:
        case ErrorKind::kChanged: return SetFormatError(error.Subject(), {}, error.what());
        case ErrorKind::kFailed: return SetSystemError(EIO, error);
    }
}

}  // namespace

void RegisterErrors() {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const FormatFailure& failure) {
            SetFormatError(failure.Path(), failure.Offset(), failure.what());
        } catch (const Error& error) {
            SetError(error);
        }
    });
}

}  // namespace orm_trace

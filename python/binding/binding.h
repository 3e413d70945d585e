#pragma once

#include <string_view>
#include <utility>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

/// The Python module kivmime._kivmime. Each file adds the classes of one subject to it.
///
/// What takes time runs without the interpreter's lock. While it does, no Python object is touched.
namespace Binding {

namespace py = pybind11;

void AddErrors(py::module_& module);
void AddAddresses(py::module_& module);
void AddReport(py::module_& module);
void AddEntity(py::module_& module);
void AddMail(py::module_& module);
void AddFolder(py::module_& module);
void AddComposer(py::module_& module);
void AddEdit(py::module_& module);

/// A str. The library's texts are UTF-8; in what it hands out as it is in a message, other bytes become U+FFFD.
inline py::str ToStr(std::string_view text) {
    PyObject* made =
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
    if (made == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(made);
}

/// A str, or None for an empty text.
inline py::object ToStrOrNone(std::string_view text) {
    if (text.empty()) return py::none();
    return ToStr(text);
}

template <class Body>
auto WithoutLock(Body body) {
    const py::gil_scoped_release released;
    return body();
}

}  // namespace Binding

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "errors.h"
#include "views.h"

// Entities and their fields, under the names that they have in Python's own package where the meaning is the same.

namespace Binding {

namespace fs = std::filesystem;
using EntityClass = py::class_<EntityView>;

namespace {

/// Bytes somewhere inside a mail, for memoryview.
struct TextView {
    std::shared_ptr<const void> owner;
    std::string_view text;
};

/// An iterator over entities. Over a list, whose end costs less than that of an iterator of our own.
py::iterator Walk(const EntityView& self, MIME::EntityRange range) {
    py::list views;
    for (const MIME::Entity& entity : range) views.append(EntityView{self.data, entity});
    return py::iter(views);
}

// ---- The body

/// Decodes into a new bytes object of `room` bytes, which then gives back what is too much.
/// @return nothing when the body is longer.
std::optional<py::bytes> DecodeWithin(const EntityView& self, uint64_t room) {
    PyObject* made = PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(room));
    if (made == nullptr) throw py::error_already_set();
    py::object owner = py::reinterpret_steal<py::object>(made);
    const std::span memory(PyBytes_AS_STRING(made), static_cast<size_t>(room));
    const MIME::Result<size_t> size = WithoutLock([&] { return self.entity.DecodeInto(memory); });
    if (!size && size.error().GetCode() == MIME::ErrorCode::tooMuchContent) return {};
    if (!size) Raise(size.error());
    made = owner.release().ptr();
    if (_PyBytes_Resize(&made, static_cast<Py_ssize_t>(*size)) != 0) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::bytes>(made);
}

/// A decoded body is hardly ever longer than it is in the text, so it is decoded once and never copied.
py::bytes Decode(const EntityView& self) {
    if (auto body = DecodeWithin(self, self.entity.GetBodyRange().size)) return *body;
    const uint64_t size = WithoutLock([&] { return self.entity.GetDecodedSize(); });
    return DecodeWithin(self, size).value();
}

void DecodeTo(const EntityView& self, const py::object& target) {
    const PythonSink sink(target);
    Take(WithoutLock([&] { return self.entity.DecodeTo(sink.Get()); }));
}

py::str GetText(const EntityView& self) {
    return ToStr(WithoutLock([&] { return self.entity.GetText(); }));
}

// ---- Fields

py::str GetValue(const EntityView& self, const MIME::Field& field) {
    return ToStr(field.GetText(self.data->options.charset));
}

py::object GetField(const EntityView& self, std::string_view name, const py::object& otherwise) {
    const std::optional<MIME::Field> field = self.entity.FindField(name);
    if (!field) return otherwise;
    return GetValue(self, *field);
}

/// Of ASCII letters the case does not count in names of fields.
bool HasName(const MIME::Field& field, std::string_view name) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    };
    return std::ranges::equal(field.name, name, {}, lower, lower);
}

py::object GetAll(const EntityView& self, std::string_view name, const py::object& otherwise) {
    py::list values;
    for (const MIME::Field& field : self.entity.GetFields()) {
        if (HasName(field, name)) values.append(GetValue(self, field));
    }
    if (values.empty()) return otherwise;
    return values;
}

/// A list of what `make` makes of each field.
template <class Make>
py::list ListFields(const EntityView& self, Make make) {
    py::list list;
    for (const MIME::Field& field : self.entity.GetFields()) list.append(make(field));
    return list;
}

py::list GetNames(const EntityView& self) {
    return ListFields(self, [](const MIME::Field& field) { return ToStr(field.name); });
}

py::dict GetParameters(const FieldView& self) {
    py::dict parameters;
    for (const MIME::Parameter& one : self.field.GetParameters(self.data->options.charset)) {
        parameters[ToStr(one.name)] = ToStr(one.value);
    }
    return parameters;
}

void AddFieldClass(py::module_& module) {
    py::class_<FieldView>(module, "Field", "A header field as it is in the text.")
        .def_property_readonly("name", [](const FieldView& self) { return ToStr(self.field.name); })
        .def_property_readonly(
            "raw", [](const FieldView& self) { return py::bytes(self.field.raw); },
            "The value with its folds, as bytes.")
        .def_property_readonly(
            "text",
            [](const FieldView& self) {
                return ToStr(self.field.GetText(self.data->options.charset));
            },
            "The value unfolded, its encoded words decoded.")
        .def_property_readonly(
            "value",
            [](const FieldView& self) {
                return ToStr(self.field.GetValue(self.data->options.charset));
            },
            "The same without parameters.")
        .def_property_readonly("parameters", &GetParameters, "Decoded, as a dict.")
        .def("__repr__", [](const FieldView& self) {
            return py::str("<kivmime.Field {}: {}>")
                .format(ToStr(self.field.name), ToStr(self.field.raw.substr(0, 60)));
        });
}

void AddFields(EntityClass& type) {
    type.def("__getitem__", [](const EntityView& self,
                               std::string_view name) { return GetField(self, name, py::none()); })
        .def("get", &GetField, py::arg("name"), py::arg("default") = py::none(),
             "The text of the first field of that name, case ignored.")
        .def("get_all", &GetAll, py::arg("name"), py::arg("default") = py::none(),
             "The texts of all fields of that name, as a list.")
        .def("__contains__",
             [](const EntityView& self, std::string_view name) {
                 return self.entity.FindField(name).has_value();
             })
        .def("__len__", [](const EntityView& self) { return self.entity.GetFields().size(); })
        .def("__bool__", [](const EntityView&) { return true; })
        .def("__iter__", [](const EntityView& self) { return py::iter(GetNames(self)); })
        .def("keys", &GetNames, "The names of all fields, in order, repeated ones too.")
        .def("values",
             [](const EntityView& self) {
                 return ListFields(self,
                                   [&](const MIME::Field& field) { return GetValue(self, field); });
             })
        .def("items",
             [](const EntityView& self) {
                 return ListFields(self, [&](const MIME::Field& field) {
                     return py::make_tuple(ToStr(field.name), GetValue(self, field));
                 });
             })
        .def_property_readonly(
            "fields",
            [](const EntityView& self) {
                return ListFields(self, [&](const MIME::Field& field) {
                    return FieldView{self.data, field};
                });
            },
            "All fields as they are in the text.");
}

// ---- What it is

py::str GetTypePart(const EntityView& self, bool isSubtype) {
    const std::string type = self.entity.GetMediaType();
    const size_t slash = std::min(type.find('/'), type.size());
    return ToStr(isSubtype ? type.substr(std::min(slash + 1, type.size())) : type.substr(0, slash));
}

py::object GetParam(const EntityView& self, std::string_view name, const py::object& otherwise,
                    std::string_view field) {
    const std::string value = self.entity.GetParameter(field, name);
    if (value.empty()) return otherwise;
    return ToStr(value);
}

void AddNature(EntityClass& type) {
    const auto getType = [](const EntityView& self) { return ToStr(self.entity.GetMediaType()); };
    const auto getName = [](const EntityView& self) {
        return ToStrOrNone(self.entity.GetFileName());
    };
    type.def("get_content_type", getType, "The media type in lower case: 'text/plain'.")
        .def("get_content_maintype",
             [](const EntityView& self) { return GetTypePart(self, false); })
        .def("get_content_subtype", [](const EntityView& self) { return GetTypePart(self, true); })
        .def(
            "get_content_charset",
            [](const EntityView& self) {
                const std::string charset = self.entity.GetCharset();
                return charset.empty() ? py::object(py::none()) : ToStr(charset).attr("lower")();
            },
            "In lower case; None when the sender named none.")
        .def(
            "get_content_disposition",
            [](const EntityView& self) { return ToStrOrNone(self.entity.GetDisposition()); },
            "'attachment', 'inline', or None.")
        .def("get_filename", getName,
             "The file name that the sender gave, decoded, or None. Not safe to use as a path.")
        .def("get_param", &GetParam, py::arg("name"), py::arg("default") = py::none(),
             py::arg("field") = "Content-Type", "A parameter of a field, decoded.")
        .def("is_multipart", [](const EntityView& self) { return self.entity.HasChildren(); })
        .def(
            "is_attachment", [](const EntityView& self) { return self.entity.IsAttachment(); },
            "Is it something to save, rather than to read with the message?")
        .def("is_type",
             [](const EntityView& self, std::string_view name) { return self.entity.IsType(name); })
        .def_property_readonly("content_type", getType)
        .def_property_readonly("filename", getName)
        .def_property_readonly(
            "safe_filename",
            [](const EntityView& self) { return ToStr(self.entity.GetSafeFileName()); },
            "A name for a file, safe on every system; never empty.")
        .def_property_readonly(
            "content_id",
            [](const EntityView& self) { return ToStrOrNone(self.entity.GetContentId()); },
            "Without angle brackets, or None.")
        .def_property_readonly("carries_message",
                               [](const EntityView& self) { return self.entity.CarriesMessage(); })
        .def_property_readonly("is_uuencoded",
                               [](const EntityView& self) { return self.entity.IsUuencoded(); });
}

// ---- Body and place

void AddBody(EntityClass& type) {
    type.def("decode", &Decode, "The body without its transfer encoding, as bytes.")
        .def("decode_to", &DecodeTo, py::arg("target"),
             "The same in pieces of bounded size, to a function or to the write() of a file.")
        .def_property_readonly(
            "size",
            [](const EntityView& self) {
                return WithoutLock([&] { return self.entity.GetDecodedSize(); });
            },
            "Of the decoded body, in bytes. Decodes it.")
        .def_property_readonly("text", &GetText,
                               "The decoded body as str, by the charset of the entity.")
        .def_property_readonly(
            "readable_text",
            [](const EntityView& self) {
                return ToStr(WithoutLock([&] { return self.entity.GetReadableText(); }));
            },
            "The same for people: flowed lines joined, no uuencoded files, LF line ends.")
        .def(
            "save_as",
            [](const EntityView& self, const fs::path& path) {
                Take(WithoutLock([&] { return self.entity.SaveAs(path); }));
            },
            py::arg("path"), "Writes decode() to a file, which is made or replaced.")
        .def(
            "save_into",
            [](const EntityView& self, const fs::path& folder) {
                return Take(WithoutLock([&] { return self.entity.SaveInto(folder); }));
            },
            py::arg("folder"),
            "Writes decode() to a new file in a folder, named by safe_filename, with a number when "
            "that is taken. Returns its path.");
}

py::slice MakeSlice(MIME::Range range) {
    return py::slice(py::int_(range.offset), py::int_(range.offset + range.size), py::none());
}

template <MIME::Range (MIME::Entity::*get)() const noexcept>
py::slice GetRange(const EntityView& self) {
    return MakeSlice((self.entity.*get)());
}

template <std::string_view (MIME::Entity::*get)() const noexcept>
py::memoryview GetRaw(const EntityView& self) {
    return MakeMemoryView(self.data, (self.entity.*get)());
}

void AddRanges(EntityClass& type) {
    using MIME::Entity;
    type.def_property_readonly(
            "range", &GetRange<&Entity::GetRange>,
            "The whole entity as a slice of the source, as a signature covers it.")
        .def_property_readonly("header_range", &GetRange<&Entity::GetHeaderRange>,
                               "Its fields, without the empty line.")
        .def_property_readonly("body_range", &GetRange<&Entity::GetBodyRange>,
                               "Its encoded body, or all its children.")
        .def_property_readonly("raw", &GetRaw<&Entity::GetRaw>, "The bytes of range.")
        .def_property_readonly("raw_header", &GetRaw<&Entity::GetRawHeader>)
        .def_property_readonly("raw_body", &GetRaw<&Entity::GetRawBody>)
        .def_property_readonly(
            "is_in_source", [](const EntityView& self) { return self.entity.IsInSource(); },
            "Are the ranges those of the source? Not inside a message that was encoded.");
}

std::optional<EntityView> GetParent(const EntityView& self) {
    const std::optional<MIME::Entity> parent = self.entity.GetParent();
    if (!parent) return {};
    return EntityView{self.data, *parent};
}

void AddPlace(EntityClass& type) {
    type.def_property_readonly(
            "path", [](const EntityView& self) { return self.entity.GetPath(); },
            "'' is the top, '2.1' the first child of its second.")
        .def(
            "walk", [](const EntityView& self) { return Walk(self, self.entity.GetEntities()); },
            "The entity itself and all inside it, each before its children.")
        .def(
            "iter_parts",
            [](const EntityView& self) { return Walk(self, self.entity.GetChildren()); },
            "Its children.")
        .def_property_readonly("parent", &GetParent)
        .def_property_readonly(
            "root",
            [](const EntityView& self) {
                return EntityView{self.data, self.entity.GetRoot()};
            },
            "Of multipart/related the root; of anything else the entity itself.")
        .def_property_readonly("uuencoded_files",
                               [](const EntityView& self) {
                                   return MakeViews(self, WithoutLock([&] {
                                                        return self.entity.GetUuencodedFiles();
                                                    }));
                               })
        .def(
            "__eq__", [](const EntityView& a, const EntityView& b) { return a.entity == b.entity; },
            py::is_operator())
        .def("__hash__",
             [](const EntityView& self) { return py::hash(py::str(self.entity.GetPath())); })
        .def("__repr__", [](const EntityView& self) {
            const std::string name = self.entity.GetFileName();
            return py::str("<kivmime.Entity {!r} {}{}>")
                .format(self.entity.GetPath(), ToStr(self.entity.GetMediaType()),
                        name.empty() ? py::str() : py::str(" {!r}").format(ToStr(name)));
        });
}

}  // namespace

py::memoryview MakeMemoryView(std::shared_ptr<const void> owner, std::string_view text) {
    return py::memoryview(py::cast(TextView{std::move(owner), text}));
}

std::vector<EntityView> MakeViews(const EntityView& beside,
                                  const std::vector<MIME::Entity>& entities) {
    std::vector<EntityView> views;
    views.reserve(entities.size());
    for (const MIME::Entity& entity : entities) views.push_back({beside.data, entity});
    return views;
}

PythonSink::PythonSink(const py::object& target)
    : write_(py::hasattr(target, "write") ? target.attr("write") : target) {}

MIME::Sink PythonSink::Get() const {
    return [this](std::string_view piece) {
        const py::gil_scoped_acquire held;
        write_(py::bytes(piece));
        return true;
    };
}

void AddEntity(py::module_& module) {
    py::class_<TextView>(module, "_TextView", py::buffer_protocol())
        .def_buffer([](const TextView& self) {
            return py::buffer_info(const_cast<char*>(self.text.data()), 1, "B", 1,
                                   {self.text.size()}, {py::ssize_t{1}}, true);
        });
    AddFieldClass(module);
    EntityClass type(module, "Entity",
                     "The message itself, a part of a multipart, a message that another one "
                     "carries, or a uuencoded file in a text. It keeps its mail in memory.");
    AddFields(type);
    AddNature(type);
    AddBody(type);
    AddRanges(type);
    AddPlace(type);
}

}  // namespace Binding

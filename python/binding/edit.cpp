#include "mime/writing/edit.h"

#include <filesystem>
#include <string>
#include <vector>

#include "composer.h"
#include "errors.h"
#include "views.h"

namespace Binding {

namespace fs = std::filesystem;
using MIME::BrokenSignature;
using MIME::Edit;
using MIME::NewPart;
using GuardedEdit = Guarded<Edit>;
using EditClass = py::class_<GuardedEdit>;

namespace {

constexpr auto kSelf = py::return_value_policy::reference;

// ---- Parts and signatures

void AddNewPart(py::module_& module) {
    const py::kw_only options;
    const py::arg_v anyName("name", ""), type("type", "");
    py::class_<NewPart>(module, "NewPart", "A part to be put into a mail; a str is plain text.")
        .def(py::init<std::string_view>(), py::arg("text"))
        .def_static("html", &NewPart::Html, py::arg("html"))
        .def_static(
            "file",
            [](const fs::path& path, const std::string& name, const std::string& mediaType) {
                return NewPart::File(path, MakeFileOptions(name, mediaType, {}));
            },
            py::arg("path"), options, anyName, type)
        .def_static(
            "bytes",
            [](const py::bytes& content, const std::string& name, const std::string& mediaType) {
                return NewPart::Bytes(std::string(content), MakeFileOptions(name, mediaType, {}));
            },
            py::arg("content"), options, py::arg("name"), type);
    py::implicitly_convertible<py::str, NewPart>();
}

const char* GetKind(const BrokenSignature& signature) {
    switch (signature.kind) {
        case BrokenSignature::Kind::smime:
            return "smime";
        case BrokenSignature::Kind::openPgp:
            return "openpgp";
        case BrokenSignature::Kind::dkim:
            return "dkim";
        case BrokenSignature::Kind::other:
            return "other";
    }
    return "";
}

void AddSignature(py::module_& module) {
    py::class_<BrokenSignature>(module, "BrokenSignature",
                                "A signature that covers what was changed, and no longer holds.")
        .def_property_readonly("kind", &GetKind, "'smime', 'openpgp', 'dkim' or 'other'.")
        .def_readonly(
            "where", &BrokenSignature::where,
            "The path of the multipart/signed entity, or the domain of the DKIM signature.")
        .def("__repr__", [](const BrokenSignature& self) {
            return py::str("<kivmime.BrokenSignature {} {!r}>").format(GetKind(self), self.where);
        });
}

// ---- Fields

using ChangeMail = Edit& (Edit::*)(std::string_view name, std::string_view value);
using ChangeEntity = Edit& (Edit::*)(const MIME::Entity& entity, std::string_view name,
                                     std::string_view value);

void AddFieldChange(EditClass& type, const char* name, ChangeMail mail, ChangeEntity entity,
                    const char* doc) {
    type.def(
        name,
        [=](GuardedEdit& self, std::string_view field, std::string_view value,
            const EntityView* where) -> GuardedEdit& {
            if (where == nullptr) {
                (self.Get().*mail)(field, value);
            } else {
                (self.Get().*entity)(where->entity, field, value);
            }
            return self;
        },
        kSelf, py::arg("name"), py::arg("value"), py::arg("entity") = py::none(), doc);
}

GuardedEdit& RemoveField(GuardedEdit& self, std::string_view name, const EntityView* where) {
    if (where == nullptr) {
        self.Get().RemoveField(name);
    } else {
        self.Get().RemoveField(where->entity, name);
    }
    return self;
}

void AddFields(EditClass& type) {
    AddFieldChange(type, "add_field", &Edit::AddField, &Edit::AddField,
                   "Adds a field at the end of a header block.");
    AddFieldChange(type, "set_field", &Edit::SetField, &Edit::SetField,
                   "Replaces the first field of that name, and removes others.");
    type.def("remove_field", &RemoveField, kSelf, py::arg("name"), py::arg("entity") = py::none(),
             "Removes all fields of that name.");
}

// ---- Parts

template <Edit& (Edit::*change)(const MIME::Entity&, const NewPart&)>
GuardedEdit& ChangePart(GuardedEdit& self, const EntityView& where, const NewPart& part) {
    (self.Get().*change)(where.entity, part);
    return self;
}

GuardedEdit& Remove(GuardedEdit& self, const EntityView& where) {
    self.Get().Remove(where.entity);
    return self;
}

GuardedEdit& Attach(GuardedEdit& self, const fs::path& path, const std::string& name,
                    const std::string& type) {
    self.Get().Attach(path, MakeFileOptions(name, type, {}));
    return self;
}

GuardedEdit& AttachBytes(GuardedEdit& self, const py::bytes& content, const std::string& name,
                         const std::string& type) {
    self.Get().AttachBytes(std::string(content), MakeFileOptions(name, type, {}));
    return self;
}

GuardedEdit& AppendText(GuardedEdit& self, const EntityView& where, std::string_view text) {
    self.Get().AppendText(where.entity, text);
    return self;
}

void AddParts(EditClass& type) {
    const py::kw_only options;
    const py::arg_v anyName("name", ""), mediaType("type", "");
    type.def("replace", &ChangePart<&Edit::Replace>, kSelf, py::arg("entity"), py::arg("part"),
             "Replaces an entity by a NewPart or plain text.")
        .def("remove", &Remove, kSelf, py::arg("entity"))
        .def("add", &ChangePart<&Edit::Add>, kSelf, py::arg("multipart"), py::arg("part"),
             "Adds a part after the last one of a multipart.")
        .def("attach", &Attach, kSelf, py::arg("path"), options, anyName, mediaType)
        .def("attach_bytes", &AttachBytes, kSelf, py::arg("content"), options, py::arg("name"),
             mediaType)
        .def("append_text", &AppendText, kSelf, py::arg("entity"), py::arg("text"),
             "Adds plain text at the end of a text.");
    AddChange(type, "add_footer", &Edit::AddFooter, py::arg("text"),
              "The same for each text of the mail.");
    AddChange(type, "sign_with", &Edit::SignWith, py::arg("signer"), py::arg("pass_phrase") = "",
              "Signs what is written; see Composer.sign_with.");
}

// ---- Writing

std::vector<BrokenSignature> Save(GuardedEdit& self, const fs::path& path) {
    return Take(self.Run([&](Edit& edit) { return edit.Save(path); })).brokenSignatures;
}

std::vector<BrokenSignature> WriteTo(GuardedEdit& self, const py::object& target) {
    const PythonSink sink(target);
    return Take(self.Run([&](Edit& edit) { return edit.WriteTo(sink.Get()); })).brokenSignatures;
}

py::bytes ToBytes(GuardedEdit& self) {
    return py::bytes(Take(self.Run([](Edit& edit) { return edit.ToString(); })));
}

void AddWriting(EditClass& type) {
    type.def_property_readonly(
            "broken_signatures",
            [](GuardedEdit& self) {
                return self.Run([](Edit& edit) { return edit.GetBrokenSignatures(); });
            },
            "The signatures that the changes so far break.")
        .def("save", &Save, py::arg("path"), "Writes the mail. Returns the broken signatures.")
        .def("write_to", &WriteTo, py::arg("target"),
             "The same in pieces, to a function or to the write() of a file.")
        .def("to_bytes", &ToBytes, "The changed mail as bytes.")
        .def("__bytes__", &ToBytes);
}

}  // namespace

void AddEdit(py::module_& module) {
    AddNewPart(module);
    AddSignature(module);
    EditClass type(
        module, "Edit",
        "Changes a mail that was read, and leaves every byte alone that need not change. "
        "Most functions return the Edit. What cannot be done is remembered, and raised "
        "as Error by save, write_to and to_bytes.");
    type.def(py::init(
                 [](const MailView& mail) { return std::make_unique<GuardedEdit>(mail.Get()); }),
             py::keep_alive<1, 2>(), py::arg("mail"))
        .def("__repr__", [](const GuardedEdit&) { return "<kivmime.Edit>"; });
    AddFields(type);
    AddParts(type);
    AddWriting(type);
}

}  // namespace Binding

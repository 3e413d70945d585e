#include "composer.h"

#include <cmath>
#include <filesystem>

#include "errors.h"
#include "views.h"

namespace Binding {

namespace fs = std::filesystem;
using MIME::Composer;
using GuardedComposer = Guarded<Composer>;
using ComposerClass = py::class_<GuardedComposer>;

namespace {

constexpr auto kSelf = py::return_value_policy::reference;

// ---- Who

using AddMailbox = Composer& (Composer::*)(std::string_view name, std::string_view address);
using AddMailboxes = Composer& (Composer::*)(std::string_view list);

/// A function that takes a name and an address, or a list as str, Address or AddressList.
void AddRecipients(ComposerClass& type, const char* name, AddMailbox add, AddMailboxes addAll) {
    type.def(
        name,
        [addAll](GuardedComposer& self, const py::object& list) -> GuardedComposer& {
            (self.Get().*addAll)(py::str(list).cast<std::string>());
            return self;
        },
        kSelf, py::arg("mailboxes"));
    AddChange<Composer>(type, name, add, py::arg("name"), py::arg("address"));
}

void AddPeople(ComposerClass& type) {
    AddRecipients(type, "from_", &Composer::From, &Composer::From);
    AddRecipients(type, "sender", &Composer::Sender, &Composer::Sender);
    AddRecipients(type, "reply_to", &Composer::ReplyTo, &Composer::ReplyTo);
    AddRecipients(type, "to", &Composer::To, &Composer::To);
    AddRecipients(type, "cc", &Composer::Cc, &Composer::Cc);
    AddRecipients(type, "bcc", &Composer::Bcc, &Composer::Bcc);
}

// ---- Fields and text

/// `when` is a datetime; one without a zone is in local time.
GuardedComposer& SentAt(GuardedComposer& self, const py::object& when) {
    const py::object aware = when.attr("utcoffset")().is_none() ? when.attr("astimezone")() : when;
    const double seconds = std::floor(aware.attr("timestamp")().cast<double>());
    const double zone = aware.attr("utcoffset")().attr("total_seconds")().cast<double>();
    self.Get().SentAt(std::chrono::sys_seconds(std::chrono::seconds(static_cast<int64_t>(seconds))),
                      std::chrono::minutes(static_cast<int>(zone / 60)));
    return self;
}

void AddFieldFunctions(ComposerClass& type) {
    AddChange(type, "subject", &Composer::Subject, py::arg("text"));
    type.def("sent_at", &SentAt, kSelf, py::arg("when"),
             "The time of Date, as a datetime; else that of the first time it is written.");
    AddChange(type, "message_id", &Composer::MessageId, py::arg("id"));
    AddChange(type, "add_field", &Composer::AddField, py::arg("name"), py::arg("value"));
    type.def(
        "answer",
        [](GuardedComposer& self, const MailView& mail) -> GuardedComposer& {
            self.Get().Answer(mail.Get());
            return self;
        },
        kSelf, py::arg("mail"),
        "Makes it an answer: In-Reply-To, References, Subject, and To where nobody is set.");
}

void AddText(ComposerClass& type) {
    AddChange(type, "text", &Composer::Text, py::arg("text"), py::arg("charset") = "utf-8",
              "The plain text: str, or bytes in another charset.");
    AddChange(type, "html", &Composer::Html, py::arg("html"), py::arg("charset") = "utf-8");
    AddChange(type, "text_file", &Composer::TextFile, py::arg("path"));
    AddChange(type, "html_file", &Composer::HtmlFile, py::arg("path"));
}

// ---- Attachments

GuardedComposer& Attach(GuardedComposer& self, const fs::path& path, const std::string& name,
                        const std::string& type, const std::string& contentId) {
    self.Get().Attach(path, MakeFileOptions(name, type, contentId));
    return self;
}

GuardedComposer& AttachBytes(GuardedComposer& self, const py::bytes& content,
                             const std::string& name, const std::string& type,
                             const std::string& contentId) {
    self.Get().AttachBytes(std::string(content), MakeFileOptions(name, type, contentId));
    return self;
}

MIME::InlineFile Inline(GuardedComposer& self, const fs::path& path, const std::string& name,
                        const std::string& type, const std::string& contentId) {
    return self.Get().Inline(path, MakeFileOptions(name, type, contentId));
}

MIME::InlineFile InlineBytes(GuardedComposer& self, const py::bytes& content,
                             const std::string& name, const std::string& type,
                             const std::string& contentId) {
    return self.Get().InlineBytes(std::string(content), MakeFileOptions(name, type, contentId));
}

void AddAttachments(ComposerClass& type) {
    const py::arg path("path"), content("content"), name("name");
    const py::kw_only options;
    const py::arg_v anyName("name", ""), mediaType("type", ""), id("content_id", "");
    type.def(
            "attach",
            [](GuardedComposer& self, const MailView& mail) -> GuardedComposer& {
                self.Get().Attach(mail.Get());
                return self;
            },
            kSelf, py::keep_alive<1, 2>(), py::arg("mail"))
        .def(
            "attach",
            [](GuardedComposer& self, const EntityView& entity) -> GuardedComposer& {
                self.Get().Attach(entity.entity);
                return self;
            },
            kSelf, py::keep_alive<1, 2>(), py::arg("entity"))
        .def("attach", &Attach, kSelf, path, options, anyName, mediaType, id,
             "Attaches a file, an Entity of a mail with its name and type, or a whole Mail.")
        .def("attach_bytes", &AttachBytes, kSelf, content, options, name, mediaType, id)
        .def("inline", &Inline, path, options, anyName, mediaType, id,
             "A file that the HTML shows. Returns an InlineFile, whose url stands in the HTML.")
        .def("inline_bytes", &InlineBytes, content, options, name, mediaType, id);
}

// ---- Writing

py::bytes ToBytes(GuardedComposer& self) {
    return py::bytes(Take(self.Run([](Composer& mail) { return mail.ToString(); })));
}

void AddWriting(ComposerClass& type) {
    AddChange(type, "sign_with", &Composer::SignWith, py::arg("signer"),
              py::arg("pass_phrase") = "",
              "Signs it as S/MIME with the key and certificates in a file (PEM or PKCS#12).");
    type.def(
            "save",
            [](GuardedComposer& self, const fs::path& path) {
                Take(self.Run([&](Composer& mail) { return mail.Save(path); }));
            },
            py::arg("path"), "Writes it into a file, which has its name when it is complete.")
        .def(
            "write_to",
            [](GuardedComposer& self, const py::object& target) {
                const PythonSink sink(target);
                Take(self.Run([&](Composer& mail) { return mail.WriteTo(sink.Get()); }));
            },
            py::arg("target"), "Writes it in pieces, to a function or to the write() of a file.")
        .def("to_bytes", &ToBytes, "The mail as bytes.")
        .def("__bytes__", &ToBytes);
}

}  // namespace

void AddComposer(py::module_& module) {
    py::class_<MIME::InlineFile>(module, "InlineFile", "A file that is shown inside the HTML.")
        .def_property_readonly("content_id", &MIME::InlineFile::GetContentId)
        .def_property_readonly("url", &MIME::InlineFile::GetUrl, "'cid:...'")
        .def("__str__", &MIME::InlineFile::GetUrl);
    ComposerClass type(
        module, "Composer",
        "Makes a mail. Most functions return the Composer. What cannot be sent, such as a bad "
        "address, is remembered, and raised as Error by save, write_to and to_bytes.");
    type.def(py::init<>())
        .def(py::init<uint64_t>(), py::arg("seed"),
             "With a seed the same calls give the same text.")
        .def("__repr__", [](const GuardedComposer&) { return "<kivmime.Composer>"; });
    AddPeople(type);
    AddFieldFunctions(type);
    AddText(type);
    AddAttachments(type);
    AddWriting(type);
}

}  // namespace Binding

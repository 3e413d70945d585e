#include <filesystem>
#include <string>
#include <utility>

#include "errors.h"
#include "views.h"

// Folders of mail. A Folder gives its messages read, or as entries, which cost nothing to pass over; both draw from
// the same place.

namespace Binding {

namespace fs = std::filesystem;
using MIME::FolderEntry;
using MIME::MailFolder;

namespace {

struct FolderView {
    std::shared_ptr<MailFolder> folder;
    MIME::MailOptions options;
    bool isYielding;  ///< errors are given in place of what cannot be read
};

/// Draws entries from a folder; any number of threads may.
struct EntryWalk : FolderView {
    uint64_t begin = 0;         ///< only what begins here or later in its file,
    uint64_t end = UINT64_MAX;  ///< and before this

    py::object Next() {
        return TakeNext([](const FolderEntry& entry) { return py::cast(entry); });
    }

protected:
    py::object Fail(const MIME::Error& error) const {
        if (!isYielding) Raise(error);
        return MakeException(error);
    }

    std::optional<MIME::Result<FolderEntry>> FindNext() const {
        while (true) {
            auto next = folder->Next();
            if (!next || !*next) return next;
            const uint64_t offset = (*next)->GetOffset();
            if (offset >= begin && offset < end) return next;
        }
    }

    template <class Make>
    py::object TakeNext(Make make) {
        const auto next = WithoutLock([&] { return FindNext(); });
        if (!next) throw py::stop_iteration();
        return *next ? make(**next) : Fail(next->error());
    }
};

/// The same, each of them read.
struct MailWalk : EntryWalk {
    py::object Next() {
        return TakeNext([this](const FolderEntry& entry) {
            auto mail = ReadEntry(entry, options);
            return mail ? py::cast(*std::move(mail)) : Fail(mail.error());
        });
    }
};

FolderView OpenFolder(const fs::path& path, bool isRecursive, const std::string& errors,
                      const py::kwargs& given) {
    if (errors != "raise" && errors != "yield") {
        throw py::value_error("errors is 'raise' or 'yield'");
    }
    MIME::MailOptions options = TakeOptions(given);
    auto folder = WithoutLock([&] { return MailFolder::Open(path, {.recursive = isRecursive}); });
    return {std::make_shared<MailFolder>(Take(std::move(folder))), std::move(options),
            errors == "yield"};
}

const char* GetKind(const FolderView& self) {
    switch (self.folder->GetKind()) {
        case MailFolder::Kind::message:
            return "message";
        case MailFolder::Kind::mbox:
            return "mbox";
        case MailFolder::Kind::maildir:
            return "maildir";
        case MailFolder::Kind::files:
            return "files";
    }
    return "";
}

template <class Walk>
void AddWalk(py::module_& module, const char* name) {
    py::class_<Walk>(module, name)
        .def("__iter__", [](py::object self) { return self; })
        .def("__next__", &Walk::Next);
}

void AddEntry(py::module_& module) {
    py::class_<FolderEntry>(module, "FolderEntry",
                            "A message of a folder, not read yet. It keeps its file open.")
        .def(
            "parse",
            [](const FolderEntry& self, const py::kwargs& given) {
                return Take(ReadEntry(self, TakeOptions(given)));
            },
            "Reads it; takes the options of kivmime.parse. Raises Error past a limit.")
        .def_property_readonly("file", &FolderEntry::GetPath, "The path of the file that it is in.")
        .def_property_readonly("offset", &FolderEntry::GetOffset,
                               "Where it begins in that file, in bytes.")
        .def_property_readonly("size", &FolderEntry::GetSize, "In bytes.")
        .def_property_readonly(
            "raw",
            [](const FolderEntry& self) {
                return MakeMemoryView(std::make_shared<const FolderEntry>(self), self.GetText());
            },
            "Its bytes as they are in the file; in an mbox '>From ' is not unquoted.")
        .def_property_readonly(
            "from_line", [](const FolderEntry& self) { return ToStr(self.GetFromLine()); },
            "The line before it in an mbox, else ''.")
        .def_property_readonly(
            "flags", [](const FolderEntry& self) { return ToStr(self.GetFlags()); },
            "In a Maildir the letters of its flags, such as 'RS'.")
        .def("__repr__", [](const FolderEntry& self) {
            return py::str("<kivmime.FolderEntry {!r} {}+{}>")
                .format(py::str(py::cast(self.GetPath())), self.GetOffset(), self.GetSize());
        });
}

}  // namespace

void AddFolder(py::module_& module) {
    AddEntry(module);
    AddWalk<EntryWalk>(module, "_EntryWalk");
    AddWalk<MailWalk>(module, "_MailWalk");
    py::class_<FolderView>(module, "Folder",
                           "The messages of a folder. Each is given once, to whichever loop or "
                           "thread asks.")
        .def_property_readonly("kind", &GetKind, "'message', 'mbox', 'maildir' or 'files'.")
        .def("__iter__", [](const FolderView& self) { return MailWalk{{{self}}}; })
        .def(
            "entries",
            [](const FolderView& self, uint64_t begin, std::optional<uint64_t> end) {
                return EntryWalk{{self}, begin, end.value_or(UINT64_MAX)};
            },
            py::arg("begin") = 0, py::arg("end") = py::none(),
            "The same without reading them: those that begin in these bytes of their file.")
        .def(
            "rewind", [](const FolderView& self) { self.folder->Rewind(); },
            "Begins again with the first message.")
        .def("__repr__", [](const FolderView& self) {
            return py::str("<kivmime.Folder {}>").format(GetKind(self));
        });
    module.def(
        "folder", &OpenFolder, py::arg("path"), py::kw_only(), py::arg("recursive") = false,
        py::arg("errors") = "raise",
        "Opens an mbox, a Maildir, a folder of files or the file of one message, to be walked "
        "over. What cannot be read is raised, and the next step goes on after it; with "
        "errors='yield' the exception is given in its place. Takes the options of parse.");
}

}  // namespace Binding

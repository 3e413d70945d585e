#include <chrono>
#include <filesystem>
#include <string>

#include "errors.h"
#include "report.h"
#include "views.h"

#include <datetime.h>  // needs Python.h

namespace Binding {

namespace fs = std::filesystem;
using MailClass = py::class_<MailView, EntityView>;

namespace {

// ---- Options

constexpr struct {
    std::string_view name;
    unsigned MIME::ReadOptions::*limit;
} kCounts[] = {
    {"max_depth", &MIME::ReadOptions::maxDepth},
    {"max_parts", &MIME::ReadOptions::maxParts},
    {"max_fields", &MIME::ReadOptions::maxFields},
};
constexpr struct {
    std::string_view name;
    unsigned long long MIME::ReadOptions::*limit;
} kSizes[] = {
    {"max_header_bytes", &MIME::ReadOptions::maxHeaderBytes},
    {"max_decoded_bytes", &MIME::ReadOptions::maxDecodedBytes},
};

bool TakeLimit(MIME::ReadOptions& limits, std::string_view name, py::handle value) {
    for (const auto& row : kCounts) {
        if (row.name == name) return limits.*row.limit = value.cast<unsigned>(), true;
    }
    for (const auto& row : kSizes) {
        if (row.name == name) return limits.*row.limit = value.cast<unsigned long long>(), true;
    }
    return false;
}

void TakeOption(MIME::MailOptions& options, const std::string& name, py::handle value) {
    if (value.is_none()) return;
    if (name == "content_type") {
        options.contentType = value.cast<std::string>();
    } else if (name == "fallback_charset") {
        options.charset.fallback = value.cast<std::string>();
    } else if (!TakeLimit(options.limits, name, value)) {
        throw py::type_error("unknown option '" + name + "'");
    }
}

// ---- Reading

MailView Open(const fs::path& path, const py::kwargs& given) {
    MIME::MailOptions options = TakeOptions(given);
    auto mail = WithoutLock([&] { return MIME::Mail::Open(path, options); });
    return MailView(MailData{py::none(), Take(std::move(mail)), std::move(options), {}});
}

/// The bytes object itself, or one with a copy of another buffer.
py::bytes TakeBytes(const py::object& source) {
    if (PyUnicode_Check(source.ptr())) throw py::type_error("a message is bytes, not str");
    PyObject* made = PyBytes_FromObject(source.ptr());
    if (made == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::bytes>(made);
}

MailView Parse(const py::object& given, const py::kwargs& how) {
    MIME::MailOptions options = TakeOptions(how);
    py::bytes source = TakeBytes(given);
    const std::string_view text = source;
    auto mail = WithoutLock([&] { return MIME::Mail::Parse(text, options); });
    return MailView(MailData{std::move(source), Take(std::move(mail)), std::move(options), {}});
}

Report MakeReport(const MailView& self) {
    MIME::ReadReport report;
    MIME::MailOptions options = self.data->options;
    options.report = &report;
    Take(WithoutLock([&] { return MIME::Mail::Parse(self.Get().GetSource(), options); }));
    return Report(report);
}

// ---- What is in it

/// A timezone; Python has none a day away or more.
py::object MakeZone(std::chrono::minutes offset) {
    const int seconds = static_cast<int>(std::chrono::seconds(offset).count());
    const auto delta = py::reinterpret_steal<py::object>(PyDelta_FromDSU(0, seconds, 0));
    if (!delta) throw py::error_already_set();
    auto zone = py::reinterpret_steal<py::object>(PyTimeZone_FromOffset(delta.ptr()));
    if (!zone) throw py::error_already_set();
    return zone;
}

/// None where datetime has no such time: before the year 1 and after 9999.
py::object GetDate(const MailView& self) {
    using namespace std::chrono;
    const std::optional<MIME::Date> date = self.Get().GetDate();
    if (!date) return py::none();
    const minutes offset = abs(date->offset) < days(1) ? date->offset : minutes(0);
    const sys_seconds local = date->time + offset;
    const year_month_day day(floor<days>(local));
    if (day.year() < year(1) || day.year() > year(9999)) return py::none();
    const hh_mm_ss time(local - floor<days>(local));
    PyObject* made = PyDateTimeAPI->DateTime_FromDateAndTime(
        static_cast<int>(day.year()), static_cast<int>(static_cast<unsigned>(day.month())),
        static_cast<int>(static_cast<unsigned>(day.day())), static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()), 0,
        MakeZone(offset).ptr(), PyDateTimeAPI->DateTimeType);
    if (made == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(made);
}

std::optional<EntityView> MakeFound(const MailView& self,
                                    const std::optional<MIME::Entity>& entity) {
    if (!entity) return {};
    return EntityView{self.data, *entity};
}

std::vector<EntityView> GetAttachments(const MailView& self) {
    return MakeViews(self, WithoutLock([&] { return self.Get().GetAttachments(); }));
}

template <MIME::AddressList (MIME::Mail::*get)() const>
MIME::AddressList GetAddresses(const MailView& self) {
    return (self.Get().*get)();
}

void AddPeople(MailClass& type) {
    using MIME::Mail;
    type.def_property_readonly("from_", &GetAddresses<&Mail::GetFrom>)
        .def_property_readonly("sender", &GetAddresses<&Mail::GetSender>)
        .def_property_readonly("reply_to", &GetAddresses<&Mail::GetReplyTo>)
        .def_property_readonly("to", &GetAddresses<&Mail::GetTo>)
        .def_property_readonly("cc", &GetAddresses<&Mail::GetCc>)
        .def_property_readonly("bcc", &GetAddresses<&Mail::GetBcc>)
        .def(
            "get_addresses",
            [](const MailView& self, std::string_view field) {
                return self.Get().GetAddresses(field);
            },
            py::arg("field"), "The addresses of all fields of that name.");
}

void AddContent(MailClass& type) {
    type.def_property_readonly(
            "subject", [](const MailView& self) { return ToStr(self.Get().GetSubject()); },
            "Decoded, in one line; '' when there is none.")
        .def_property_readonly(
            "date", &GetDate,
            "An aware datetime in the sender's zone (UTC where that is unknown), or None when the "
            "field is missing or is no date.")
        .def_property_readonly(
            "message_id",
            [](const MailView& self) { return ToStrOrNone(self.Get().GetMessageId()); },
            "Without angle brackets, or None.")
        .def_property_readonly("in_reply_to",
                               [](const MailView& self) { return self.Get().GetInReplyTo(); })
        .def_property_readonly("references",
                               [](const MailView& self) { return self.Get().GetReferences(); })
        .def_property_readonly(
            "text",
            [](const MailView& self) {
                return ToStr(WithoutLock([&] { return self.Get().GetText(); }));
            },
            "The text for people to read, with LF line ends; HTML where there is nothing else.")
        .def_property_readonly(
            "html",
            [](const MailView& self) {
                return ToStr(WithoutLock([&] { return self.Get().GetHtml(); }));
            },
            "The HTML; '' when it has none.")
        .def_property_readonly("attachments", &GetAttachments, "As a list.")
        .def(
            "iter_attachments",
            [](const MailView& self) { return py::iter(py::cast(GetAttachments(self))); },
            "The same.");
}

void AddSearch(MailClass& type) {
    type.def(
            "find_by_id",
            [](const MailView& self, std::string_view id) {
                return MakeFound(self, self.Get().FindById(id));
            },
            py::arg("content_id"), "The entity with a Content-ID or URL 'cid:...', or None.")
        .def(
            "find_by_path",
            [](const MailView& self, std::string_view path) {
                return MakeFound(self, self.Get().FindByPath(path));
            },
            py::arg("path"), "The entity at a path such as '2.1', or None.")
        .def(
            "find_by_filename",
            [](const MailView& self, std::string_view name) {
                return MakeFound(self, self.Get().FindByFileName(name));
            },
            py::arg("filename"), "The first entity with that decoded file name, or None.");
}

}  // namespace

MIME::MailOptions TakeOptions(const py::kwargs& given) {
    MIME::MailOptions options;
    for (const auto& [name, value] : given) TakeOption(options, name.cast<std::string>(), value);
    return options;
}

MIME::Result<MailView> ReadEntry(const MIME::FolderEntry& entry, const MIME::MailOptions& options) {
    auto mail = WithoutLock([&] { return MIME::Mail::Parse(entry, options); });
    if (!mail) return mail.error();
    return MailView(MailData{py::none(), *std::move(mail), options, entry});
}

void AddMail(py::module_& module) {
    PyDateTime_IMPORT;
    MailClass type(module, "Mail",
                   "A message, which is also its top entity. Nothing of it is decoded before it is "
                   "asked for. Any number of threads may look at it.");
    AddPeople(type);
    AddContent(type);
    AddSearch(type);
    type.def_property_readonly(
            "source",
            [](const MailView& self) { return MakeMemoryView(self.data, self.Get().GetSource()); },
            "The text that was read, as a memoryview of its bytes.")
        .def_property_readonly(
            "entry", [](const MailView& self) { return self.data->entry; },
            "Where it is in its folder, when it came from one, else None.")
        .def_property_readonly("report", &MakeReport,
                               "What it has that the RFCs do not allow. Each time it is asked for, "
                               "the text is read again.")
        .def("__repr__", [](const MailView& self) {
            return py::str("<kivmime.Mail {!r} from {!r}, {} bytes>")
                .format(ToStr(self.Get().GetSubject()), ToStr(self.Get().GetFrom().GetStr()),
                        self.Get().GetSource().size());
        });
    module.def("open", &Open, py::arg("path"),
               "Reads the message in a file. One of 4 MiB or more is mapped, and must not be made "
               "shorter while the Mail lives. Raises OSError, or Error past a limit.");
    module.def("parse", &Parse, py::arg("source"),
               "Reads a message from bytes, which are kept and not copied; other buffers are "
               "copied. Raises Error past a limit.");
}

}  // namespace Binding

#include "report.h"

namespace Binding {

namespace {

const char* GetName(MIME::Deviation::Severity severity) {
    switch (severity) {
        case MIME::Deviation::Severity::harmless:
            return "harmless";
        case MIME::Deviation::Severity::repaired:
            return "repaired";
        case MIME::Deviation::Severity::ambiguous:
            return "ambiguous";
    }
    return "";
}

std::string ToString(const MIME::AnsiStr& text) {
    return std::string(std::string_view(text));
}

}  // namespace

Report::Report(const MIME::ReadReport& report)
    : verdict(GetName(report.worst)), omitted(report.omitted) {
    for (const MIME::ReadReport::Entry& entry : report.deviations) {
        deviations.push_back({ToString(MIME::Deviation::GetName(entry.kind)),
                              GetName(MIME::Deviation::GetSeverity(entry.kind)),
                              ToString(MIME::Deviation::GetStr(entry.kind)), entry.offset,
                              ToString(entry.path)});
    }
}

void AddReport(py::module_& module) {
    py::class_<Deviation>(module, "Deviation", "One thing that the RFCs do not allow, and where.")
        .def_readonly("kind", &Deviation::kind, "A name, such as 'missingEnd'.")
        .def_readonly("severity", &Deviation::severity, "'harmless', 'repaired' or 'ambiguous'.")
        .def_readonly("text", &Deviation::text, "A sentence for people.")
        .def_readonly("offset", &Deviation::offset, "In bytes from the start of the text.")
        .def_readonly("path", &Deviation::path, "Of the entity; '' is the top.")
        .def("__repr__", [](const Deviation& self) {
            return py::str("<kivmime.Deviation {} ({}) at {}>")
                .format(self.kind, self.severity, self.offset);
        });
    py::class_<Report>(module, "Report", "What a message has that the RFCs do not allow.")
        .def_readonly("verdict", &Report::verdict,
                      "The worst severity: 'harmless' (also without any deviation), 'repaired', or "
                      "'ambiguous' when two programs may read two different messages.")
        .def_readonly("deviations", &Report::deviations, "In the order of the text; at most 1,000.")
        .def_readonly("omitted", &Report::omitted, "How many there are beside these.")
        .def("__repr__", [](const Report& self) {
            return py::str("<kivmime.Report {}, {} deviations>")
                .format(self.verdict, self.deviations.size() + self.omitted);
        });
}

}  // namespace Binding

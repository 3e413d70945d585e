#include <string>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "escape.h"
#include "output.h"

// "lint": prints the report of the reader, as lines for people or as JSON for programs. A message that
// cannot be read is reported too, after what was found before the failure.

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;
using Entry = MIME::ReadReport::Entry;

constexpr int kHasDeviations = 1;
constexpr int kNotReadable = 3;

/// The result of reading a message.
struct Finding {
    MIME::ReadReport report;
    std::string failure;  ///< as other commands report it; empty when the message could be read
    std::string reason;   ///< the same without the file's name
};

Finding Examine(const Source& source) {
    Finding finding;
    try {
        const WorkFolder folder;
        ReadMessage(source, folder, &finding.report);
    } catch (const Failure& failure) {
        finding.failure = failure.what();
        finding.reason = finding.failure;
        const std::string subject = GetShownName(source.file) + ": ";
        if (finding.reason.starts_with(subject)) finding.reason.erase(0, subject.size());
    }
    return finding;
}

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

/// The index that Show prints: there the whole message is "1".
std::string MakeIndex(const MIME::AnsiStr& path) {
    std::string index = "1";
    if (!path.IsEmpty()) index += '.';
    return index += std::string_view(path);
}

void PrintLines(const std::string& file, const Finding& finding) {
    const auto printLine = [&](unsigned long long offset, const MIME::AnsiStr& path,
                               const std::string& severity, const std::string& text) {
        Print(Escape(file) + ":" + std::to_string(offset) + ": " + MakeIndex(path) + ": " +
              severity + ": " + Escape(text) + "\n");
    };
    const MIME::ReadReport& report = finding.report;
    for (const Entry& entry : report.deviations) {
        printLine(entry.offset, entry.path, GetName(MIME::Deviation::GetSeverity(entry.kind)),
                  ToString(MIME::Deviation::GetStr(entry.kind)));
    }
    if (report.omitted != 0) {
        Print(Escape(file) + ": " + std::to_string(report.omitted) + " more\n");
    }
    if (!finding.failure.empty()) {
        printLine(report.failureOffset, report.failurePath, "failure", finding.reason);
    }
}

Json Describe(const Entry& entry) {
    return {{"kind", ToString(MIME::Deviation::GetName(entry.kind))},
            {"severity", GetName(MIME::Deviation::GetSeverity(entry.kind))},
            {"text", ToString(MIME::Deviation::GetStr(entry.kind))},
            {"offset", entry.offset},
            {"index", MakeIndex(entry.path)}};
}

void PrintJson(const std::string& file, const Finding& finding) {
    const MIME::ReadReport& report = finding.report;
    Json deviations = Json::array();
    for (const Entry& entry : report.deviations) deviations.push_back(Describe(entry));
    Json failure;
    if (!finding.failure.empty()) {
        failure = {{"text", finding.reason},
                   {"offset", report.failureOffset},
                   {"index", MakeIndex(report.failurePath)}};
    }
    const bool hasAny = !report.deviations.IsEmpty();
    const Json all = {{"file", file},
                      {"worst", hasAny ? Json(GetName(report.worst)) : Json(nullptr)},
                      {"deviations", std::move(deviations)},
                      {"omitted", report.omitted},
                      {"failure", std::move(failure)}};
    Print(all.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n");
}

}  // namespace

int Lint(const LintOptions& options) {
    const Finding finding = Examine(options.source);
    if (options.json) {
        PrintJson(options.source.file, finding);
    } else {
        PrintLines(options.source.file, finding);
    }
    FinishOutput();
    if (!finding.failure.empty()) {
        PrintError(finding.failure);
        return kNotReadable;
    }
    return finding.report.deviations.IsEmpty() ? 0 : kHasDeviations;
}

}  // namespace Tool

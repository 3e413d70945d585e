#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "colours.h"
#include "commands.h"
#include "escape.h"
#include "json.h"
#include "message.h"
#include "output.h"
#include "severity.h"

// "lint": prints the report of the reader, as lines for people or as JSON for programs. A message that
// cannot be read is reported too, after what was found before the failure.

namespace Tool {

namespace {

using Entry = MIME::ReadReport::Entry;

constexpr int kHasDeviations = 1;
constexpr int kNotReadable = 3;

/// The result of reading a message.
struct Finding {
    MIME::ReadReport report;
    std::string failure;  ///< as other commands report it; empty when the message could be read
    std::string reason;   ///< the same without the file's name
};

Finding Examine(const Input& input, const Sources& sources) {
    Finding finding;
    try {
        if (!input.failure.empty()) throw InputFailure(input.name, input.failure);
        if (sources.strict) {
            ReadStrict(input, sources, &finding.report);
        } else {
            ReadMail(input, sources, &finding.report);
        }
    } catch (const InputFailure& failure) {
        finding.failure = failure.what();
        finding.reason = finding.failure.substr(input.name.size() + 2);
    }
    return finding;
}

std::string PaintSeverity(MIME::Deviation::Severity severity) {
    constexpr Colour kColours[] = {Colour::green, Colour::yellow, Colour::red};
    return Paint(kColours[static_cast<size_t>(severity)], GetSeverityName(severity));
}

void PrintLines(const Input& input, const Finding& finding) {
    const std::string& file = input.file;
    const auto printLine = [&](unsigned long long offset, const MIME::AnsiStr& path,
                               const std::string& severity, const std::string& text) {
        Print(Escape(file) + ":" + std::to_string(input.offset + offset) + ": " +
              MakeIndex(std::string_view(path)) + ": " + severity + ": " + Escape(text) + "\n");
    };
    const MIME::ReadReport& report = finding.report;
    for (const Entry& entry : report.deviations) {
        printLine(entry.offset, entry.path, PaintSeverity(MIME::Deviation::GetSeverity(entry.kind)),
                  ToString(MIME::Deviation::GetStr(entry.kind)));
    }
    if (report.omitted != 0) {
        Print(Escape(file) + ": " + std::to_string(report.omitted) + " more\n");
    }
    if (!finding.failure.empty()) {
        printLine(report.failureOffset, report.failurePath, Paint(Colour::red, "failure"),
                  finding.reason);
    }
}

Json Describe(const Entry& entry, uint64_t start) {
    return {{"kind", ToString(MIME::Deviation::GetName(entry.kind))},
            {"severity", GetSeverityName(MIME::Deviation::GetSeverity(entry.kind))},
            {"text", ToString(MIME::Deviation::GetStr(entry.kind))},
            {"offset", start + entry.offset},
            {"index", MakeIndex(entry.path)}};
}

void PrintJson(const Input& input, const Finding& finding) {
    const MIME::ReadReport& report = finding.report;
    Json deviations = Json::array();
    for (const Entry& entry : report.deviations) {
        deviations.push_back(Describe(entry, input.offset));
    }
    Json failure;
    if (!finding.failure.empty()) {
        failure = {{"text", finding.reason},
                   {"offset", input.offset + report.failureOffset},
                   {"index", MakeIndex(report.failurePath)}};
    }
    Json all = DescribeInput(input);
    all["worst"] =
        report.deviations.IsEmpty() ? Json(nullptr) : Json(GetSeverityName(report.worst));
    all["deviations"] = std::move(deviations);
    all["omitted"] = report.omitted;
    all["failure"] = std::move(failure);
    Print(Dump(all) + "\n");
}

/// What cannot be read is always meant.
bool IsMeant(const Input& input, const Sources& sources) {
    try {
        return !input.failure.empty() || IsSelected(input, sources);
    } catch (const InputFailure&) {
        return true;
    }
}

/// @return the exit status for this message.
int LintInput(const Input& input, const LintOptions& options) {
    const Finding finding = Examine(input, options.sources);
    if (options.json) {
        PrintJson(input, finding);
    } else {
        PrintLines(input, finding);
    }
    if (finding.failure.empty()) return finding.report.deviations.IsEmpty() ? 0 : kHasDeviations;
    FinishOutput();
    PrintError(finding.failure);
    return kNotReadable;
}

}  // namespace

int Lint(const LintOptions& options) {
    int status = 0;
    Inputs inputs(options.sources, Inputs::Quoting::asInFile);
    while (const std::optional<Input> input = inputs.Next()) {
        if (IsMeant(*input, options.sources)) status = std::max(status, LintInput(*input, options));
    }
    FinishOutput();
    return status;
}

}  // namespace Tool

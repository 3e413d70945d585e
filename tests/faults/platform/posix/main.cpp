// kivmime_faults [--verbose] [--all] [NAME]: fails each call in turn that an operation makes of the
// system, once and from there on, each in a process of its own, and counts what came of it. NAME: only
// operations with that text in their name; --all: every point of the large ones too.

#include <execinfo.h>
#include <openssl/cms.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <set>

#include "faults/faults.h"
#include "kivgui/convert.h"
#include "kivgui/error.h"
#include "support/bytes.h"
#include "support/temp_folder.h"
#include "support/tree_dump.h"

extern const char __executable_start;  ///< the linker's

namespace MIME::Faults {
namespace {

using namespace KivGuiBase;
namespace fs = std::filesystem;
using Test::Dump;

struct KindInfo {
    const char* text;
    uint32_t code;     ///< the last error that a failure has
    bool mustSucceed;  ///< it is no error, only a slower way
};
constexpr KindInfo kInfos[] = {
#define FAULT_KIND(key, text, error, code, mustSucceed) {text, code, mustSucceed},
#include "faults/kinds.inc"
};

enum Column : unsigned { kSame, kFailed, kWrongResult, kBadFailure, kCrash, kLeak, kUnnamedFile };
constexpr const char* kColumns[] = {"same", "failed", "WRONG RESULT", "BAD FAILURE",
                                    "CRASH", "LEAK", "UNNAMED FILE"};
constexpr unsigned kColumnCount = 7;

/// What came of one point. In memory that both processes see.
struct Outcome {
    bool columns[kColumnCount];
    char why[1000];
    Injection injection;  ///< as it is in the process that runs
    Kind kind;
    unsigned long n;
    bool isLasting;
    unsigned long calls[kKinds];  ///< of the first try
    size_t textSize;
    char text[64 << 20];  ///< the result; only touched as far as it reaches
};

/// What a run without a fault gave.
struct Reference {
    bool isGood = false;
    std::string text;
    long blocks = 0;  ///< not given back at the end: what is kept for the life of the process
    std::array<unsigned long, kKinds> calls{};
};

/// Covers numbers that differ in each run: random names and boundaries, but not how long they are.
std::string Cover(std::string text) {
    constexpr size_t kShortest = 16;
    for (size_t i = 0; i < text.size(); ++i) {
        const size_t end = std::min(text.find_first_not_of("0123456789ABCDEFabcdef", i), text.size());
        if (end - i >= kShortest) std::fill(text.begin() + i, text.begin() + end, '#');
        i = end;
    }
    return text;
}

/// The message, with what the signature is worth in its place.
std::string ShowSigned(const std::string& all) {
    const size_t name = all.find("boundary=\"") + 10;
    const std::string line = "\r\n--" + all.substr(name, all.find('"', name) - name);
    const size_t content = all.find(line) + line.size() + 2, end = all.find(line, content);
    const size_t begin = all.find("\r\n\r\n", end) + 4, last = all.find(line, begin);
    if (end == std::string::npos || last == std::string::npos) return "no signed message: " + all;
    std::string der(last - begin, '\0');
    auto size = static_cast<unsigned>(der.size());
    B64Str2Binary(AnsiStr(all.substr(begin, last - begin)), der.data(), size, "\r\n");
    BIO* const signature = BIO_new_mem_buf(der.data(), static_cast<int>(size));
    BIO* const text = BIO_new_mem_buf(all.data() + content, static_cast<int>(end - content));
    CMS_ContentInfo* const message = d2i_CMS_bio(signature, nullptr);
    const bool isValid = CMS_verify(message, nullptr, nullptr, text, nullptr,
                                    CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) == 1;
    CMS_ContentInfo_free(message);
    BIO_free(text);
    BIO_free(signature);
    return all.substr(0, begin) + (isValid ? "valid" : "not valid") + all.substr(last);
}

std::set<std::string> ListFolder() {
    std::set<std::string> files;
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path())) {
        files.insert(entry.path().string());
    }
    return files;
}

void EmptyFolder() {
    for (const std::string& file : ListFolder()) fs::remove(file);
}

/// One use of an operation, with a fault or without.
class Trial {
public:
    Trial(const Operation& operation, const Reference* reference, Outcome& outcome)
        : operation_(operation), reference_(reference), outcome_(outcome) {}

    void Run() {
        {
            State state;
            Prepare(state, operation_);
            const std::string arguments = ShowArguments(state);
            if (!operation_.output.empty()) fs::remove(operation_.output);
            Renew(state);
            TryWithFault(state);
            injection->kind = kKinds;
            if (ShowArguments(state) != arguments) Note(kBadFailure, "arguments changed");
            CheckFiles(&*state.tree);
            if ((operation_.traits & kGoesOn) == 0) {
                Renew(state);
                CheckNoFiles();
            }
            EmptyFolder();
            TryAgain(state);
        }
        CheckNoFiles();
        if (reference_ != nullptr && injection->blocks != reference_->blocks) Note(kLeak, std::to_string(injection->blocks) + " blocks");
        if (injection->files != 0 || injection->maps != 0) Note(kLeak, "a file is open");
        if (injection->hasBadClose) Note(kBadFailure, "closes a file that is not open");
        outcome_.columns[isGood_ ? kSame : kFailed] = !IsBad(outcome_);
    }

    static bool IsBad(const Outcome& outcome) {
        return std::any_of(outcome.columns + kWrongResult, outcome.columns + kColumnCount,
                           [](bool is) { return is; });
    }

    void Note(Column column, const std::string& why) {
        outcome_.columns[column] = true;
        const std::string text = outcome_.why + std::string(*outcome_.why == '\0' ? "" : "; ") + why;
        std::snprintf(outcome_.why, sizeof outcome_.why, "%s", text.c_str());
    }

private:
    static void Renew(State& state) {
        state.texts = {};
        state.tree.emplace();
        state.report = ReadReport();
    }

    static std::string ShowArguments(const State& state) {
        return Cover(Dump(state.source)) + Test::Escape(state.in);
    }

    std::string ShowResults(const State& state) const {
        std::string shown;
        for (const AnsiStr& text : state.texts) {
            if (text.IsEmpty()) continue;
            shown += Test::Escape(operation_.traits & kSigns ? ShowSigned(std::string(text))
                                                             : std::string(text)) + "\n";
        }
        shown += Dump(*state.tree) + Dump(state.report);
        ShowFields(*state.tree, shown);
        if (!operation_.output.empty() && fs::exists(operation_.output)) {
            shown += Test::Escape(Test::ReadWholeFile(operation_.output));
        }
        return Cover(shown);
    }

    static void ShowFields(const Part& part, std::string& shown) {
        for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
            shown.append(part.fields[i].name).append(":").append(part.fields[i].value).append("\n");
        }
        for (const Part* child : part.parts) ShowFields(*child, shown);
    }

    bool Call(State& state) {
        SetLastError(kErrorNone);
        Arm();
        bool isGood = false;
        try {
            isGood = operation_.run(state);
        } catch (const std::exception& error) {
            Disarm();
            Note(kBadFailure, std::string("throws ") + error.what());
        }
        Disarm();
        return isGood;
    }

    void TryWithFault(State& state) {
        const std::string before = operation_.traits & kAtomic ? ShowResults(state) : "";
        const Kind kind = injection->kind;
        isGood_ = Call(state);
        const uint32_t error = GetLastError();
        std::string text;
        try {
            text = ShowResults(state);  // all of it can be looked at, after a failure too
        } catch (const std::exception& thrown) {
            return Note(isGood_ ? kWrongResult : kBadFailure, thrown.what());
        }
        if (reference_ == nullptr) {
            std::memcpy(outcome_.text, text.data(), outcome_.textSize = text.size());
            std::copy_n(injection->calls, kKinds, outcome_.calls);
            return;
        }
        if (text == reference_->text && isGood_ == reference_->isGood) return;
        if (isGood_) return Note(kWrongResult, Compare(reference_->text, text));
        if (kInfos[kind].mustSucceed) Note(kBadFailure, "no reason to fail");
        if (error == kErrorNone) Note(kBadFailure, "last error 0");
        const bool isRight = error == kInfos[kind].code ||
                             (error == kErrorOutOfMemory && kInfos[kind].code == kErrorNotEnoughMemory);
        if (error != kErrorNone && !isRight && (operation_.traits & kSigns) == 0 && reference_->isGood) {
            Note(kBadFailure, "last error " + std::to_string(error));
        }
        if (operation_.traits & kAtomic && text != before) Note(kBadFailure, "half done: " + Compare(before, text));
    }

    void TryAgain(State& state) {
        const bool isGood = Call(state);
        const std::string text = ShowResults(state);
        const std::string& wanted =
            reference_ != nullptr ? reference_->text : std::string(outcome_.text, outcome_.textSize);
        if (isGood != (reference_ != nullptr ? reference_->isGood : isGood_) || text != wanted) {
            Note(kBadFailure, "second try: " + Compare(wanted, text));
        }
        CheckFiles(&*state.tree);
    }

    /// When the tree is no more.
    void CheckNoFiles() {
        if (operation_.traits & kLeavesFiles || outcome_.kind == removing) return;
        for (const std::string& file : ListFolder()) Note(kUnnamedFile, "stays: " + file);
    }

    void CheckFiles(const Part* tree) {
        if (outcome_.kind == removing || (operation_.traits & kLeavesFiles && !isGood_)) return;
        std::set<std::string> files = ListFolder();
        ForgetNamed(*tree, files);
        for (const std::string& file : files) Note(kUnnamedFile, file);
    }

    static void ForgetNamed(const Part& part, std::set<std::string>& files) {
        files.erase(std::string(part.data.file.GetPath()));
        for (const Part* child : part.parts) ForgetNamed(*child, files);
    }

    /// The first line that differs.
    static std::string Compare(const std::string& wanted, const std::string& got) {
        const size_t at = static_cast<size_t>(
            std::mismatch(wanted.begin(), wanted.end(), got.begin(), got.end()).first - wanted.begin());
        const size_t line = at == 0 ? 0 : wanted.rfind('\n', at - 1) + 1;
        const auto cut = [line](const std::string& text) {
            return text.substr(line, std::min(text.find('\n', line) - line, size_t{120}));
        };
        return "\"" + cut(got) + "\" for \"" + cut(wanted) + "\"";
    }

    const Operation& operation_;
    const Reference* reference_;
    Outcome& outcome_;
    bool isGood_ = false;
};

/// A bad point, for those who mend it.
struct Finding {
    std::string text;
    std::vector<void*> frames;
};

class Campaign {
public:
    Campaign(bool isVerbose, bool isWhole) : isVerbose_(isVerbose), isWhole_(isWhole) {
        void* memory = mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("no shared memory");
        outcome_ = new (memory) Outcome;
        injection = &outcome_->injection;
    }

    void Try(const Operation& operation) {
        if ((operation.traits & kCold) == 0) WarmUp(operation);
        RunPoint(operation, nullptr, kKinds, 0, false);
        if (Trial::IsBad(*outcome_)) {
            Report(operation, "without a fault");
            isSound_ = false;
            return;
        }
        Reference reference{outcome_->columns[kSame],
                            std::string(outcome_->text, outcome_->textSize), injection->blocks};
        std::copy_n(outcome_->calls, kKinds, reference.calls.begin());
        for (unsigned kind = 0; kind < kKinds; ++kind) {
            TryKind(operation, reference, static_cast<Kind>(kind));
        }
    }

    /// Returns whether nothing bad was found.
    bool Finish() {
        for (unsigned kind = 0; kind < kKinds; ++kind) {
            PrintRow("all operations", kInfos[kind].text, totals_[kind]);
        }
        Row all{};
        for (const Row& row : totals_) {
            for (unsigned i = 0; i <= kColumnCount; ++i) all[i] += row[i];
        }
        PrintRow("all operations", "all", all);
        if (isVerbose_) PrintFindings();
        return isSound_ && findings_.empty();
    }

private:
    using Row = std::array<unsigned long, kColumnCount + 1>;  ///< the last is the number of points

    static void WarmUp(const Operation& operation) {
        State state;
        Prepare(state, operation);
        state.tree.emplace();
        operation.run(state);
        Disarm();
        state.tree.reset();
        EmptyFolder();
    }

    void TryKind(const Operation& operation, const Reference& reference, Kind kind) {
        // From there on, an interruption would never end.
        const unsigned long count = reference.calls[kind];
        Row row{};
        Test::Random random(1);
        for (const bool isLasting : {false, true}) {
            if (isLasting && kind == interruption) continue;
            for (unsigned long n = 1; n <= count; ++n) {
                const bool isSampled = operation.limit != 0 && !isWhole_;
                if (isSampled && random.Below(count) >= operation.limit) continue;
                RunPoint(operation, &reference, kind, n, isLasting);
                ++row[kColumnCount];
                for (unsigned i = 0; i < kColumnCount; ++i) row[i] += outcome_->columns[i];
                if (!Trial::IsBad(*outcome_)) continue;
                Report(operation, std::string(kInfos[kind].text) + " " + std::to_string(n) + " of " +
                                      std::to_string(count) + (isLasting ? " and later" : ""));
            }
        }
        if (count == 0) return;
        PrintRow(operation.name.c_str(), kInfos[kind].text, row);
        for (unsigned i = 0; i <= kColumnCount; ++i) totals_[kind][i] += row[i];
    }

    void RunPoint(const Operation& operation, const Reference* reference, Kind kind,
                  unsigned long n, bool isLasting) {
        std::memset(static_cast<void*>(outcome_), 0, offsetof(Outcome, text));
        *injection = {};
        outcome_->kind = injection->kind = kind;
        injection->n = n;
        injection->isLasting = isLasting;
        std::fflush(stdout);
        Trial trial(operation, reference, *outcome_);
        const pid_t child = fork();
        if (child == 0) {
            std::freopen("/dev/null", "w", stderr);
            alarm(30);
            trial.Run();
            _exit(0);
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("no process");
        if (WIFSIGNALED(status)) trial.Note(kCrash, strsignal(WTERMSIG(status)));
        if (WIFEXITED(status) && WEXITSTATUS(status) != 0) trial.Note(kCrash, "the process ended");
        EmptyFolder();
    }

    void Report(const Operation& operation, const std::string& point) {
        std::string text;
        for (unsigned i = kWrongResult; i < kColumnCount; ++i) {
            if (outcome_->columns[i]) text += std::string(kColumns[i]) + " ";
        }
        findings_.push_back({text + "| " + operation.name + " | " + point + " | " + outcome_->why,
                             {injection->frames, injection->frames + injection->frameCount}});
    }

    static void PrintRow(const char* operation, const char* kind, const Row& row) {
        static bool isFirst = true;
        if (std::exchange(isFirst, false)) {
            std::printf("%-36s %-12s %7s", "operation", "kind", "points");
            for (const char* column : kColumns) std::printf(" %12s", column);
            std::printf("\n");
        }
        std::printf("%-36s %-12s %7lu", operation, kind, row[kColumnCount]);
        for (unsigned i = 0; i < kColumnCount; ++i) std::printf(" %12lu", row[i]);
        std::printf("\n");
    }

    /// The findings with the functions in which the faults were; addr2line names them.
    void PrintFindings() const {
        std::map<const void*, std::string> names;
        for (const Finding& finding : findings_) {
            for (const void* frame : finding.frames) names[frame];
        }
        const std::string list = (fs::temp_directory_path() / "frames").string();
        std::string offsets;
        for (const auto& [frame, name] : names) {
            char text[32];
            // A return address is after the call.
            const auto offset = static_cast<const char*>(frame) - &__executable_start - 1;
            std::snprintf(text, sizeof text, "0x%tx\n", offset);
            offsets += text;
        }
        Test::WriteWholeFile(list, offsets);
        const std::string command = "addr2line -Cfp -e /proc/" + std::to_string(getpid()) +
                                    "/exe @" + list;
        FILE* const pipe = popen(command.c_str(), "r");
        for (auto& [frame, name] : names) {
            char line[4096];
            if (pipe != nullptr && std::fgets(line, sizeof line, pipe) != nullptr) name = Shorten(line);
        }
        if (pipe != nullptr) pclose(pipe);
        for (const Finding& finding : findings_) {
            std::printf("%s |", finding.text.c_str());
            for (const void* frame : finding.frames) {
                if (!names[frame].empty()) std::printf(" %s", names[frame].c_str());
            }
            std::printf("\n");
        }
    }

    /// The name of the function without its parameters; none for ours.
    static std::string Shorten(std::string name) {
        constexpr std::string_view kUnnamed = "(anonymous namespace)::";
        while (name.find(kUnnamed) != std::string::npos) {
            name.erase(name.find(kUnnamed), kUnnamed.size());
        }
        if (name.find("Faults::") != std::string::npos || name[0] == '?') return {};
        return name.substr(0, name.find_first_of("( "));
    }

    const bool isVerbose_;
    const bool isWhole_;
    bool isSound_ = true;
    Outcome* outcome_;
    std::array<Row, kKinds> totals_{};
    std::vector<Finding> findings_;
};

}  // namespace
}  // namespace MIME::Faults

int main(int argc, char** argv) {
    using namespace MIME::Faults;
    InjectIntoCryptography();
    const std::set<std::string> options(argv + 1, argv + argc);
    const MIME::Test::TempFolder files;
    const std::vector<Operation> operations = GetOperations(files.GetPath());
    const MIME::Test::TempFolder folder;
    Campaign campaign(options.contains("--verbose"), options.contains("--all"));
    for (const Operation& operation : operations) {
        const auto isWanted = [&](const std::string& option) {
            return option.starts_with("--") || operation.name.find(option) != std::string::npos;
        };
        if (std::all_of(options.begin(), options.end(), isWanted)) campaign.Try(operation);
    }
    return campaign.Finish() ? 0 : 1;
}

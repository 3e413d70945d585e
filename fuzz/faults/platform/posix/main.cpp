// kivmime_faults [--verbose] [--all] [--odd | --even] [NAME]: fails each call that an operation makes of the system, one
// after another, once and from there on, each time in a process of its own, and counts what comes of
// it. Exit status 0 when nothing bad did. NAME: only operations with that in their name; --all: no
// samples; --odd, --even: half of the points, for two cores; --verbose: also a line for each bad point.

#include <openssl/cms.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "faults/faults.h"
#include "kivgui/convert.h"
#include "kivgui/error.h"
#include "support/bytes.h"
#include "support/temp_folder.h"
#include "support/tree_dump.h"

extern const char __executable_start;  // the linker's

namespace MIME::Faults {
namespace {

namespace fs = std::filesystem;
using Test::Dump;
using Test::Escape;

constexpr struct {
    const char* text;
    uint32_t code;     ///< the last error after a failure
    bool mustSucceed;  ///< no error, only a slower way
} kKindTable[] = {
#define FAULT_KIND(key, text, error, code, mustSucceed) {text, KivGuiBase::code, mustSucceed},
#include "faults/kinds.inc"
};

enum Column { kPoints, kSame, kFailed, kWrongResult, kBadFailure, kCrash, kLeak, kUnnamedFile };
constexpr const char* kHeads[] = {"points",      "same",  "failed", "WRONG RESULT",
                                  "BAD FAILURE", "CRASH", "LEAK",   "UNNAMED FILE"};
using Row = std::array<unsigned long, std::size(kHeads)>;

/// What came of one point, in memory that both processes see.
struct Outcome {
    Injection injection;
    Row row;
    char why[1000];
    bool isGood;
    size_t size;
    char text[64 << 20];  ///< the results of a trial without a fault; touched as far as they reach
};
Outcome* outcome;

bool IsBad() {
    return std::any_of(outcome->row.begin() + kWrongResult, outcome->row.end(),
                       [](auto n) { return n != 0; });
}

void Note(Column column, const std::string& why) {
    outcome->row[column] = 1;
    const size_t used = std::strlen(outcome->why);
    std::snprintf(outcome->why + used, sizeof outcome->why - used, " %s;", why.c_str());
}

/// What a trial without a fault gave.
struct Reference {
    bool isGood;
    std::string text;
    Injection injection;
};

// ---- What there is to see -------------------------------------------------------------------------

/// Covers what differs in each run, random names and boundaries, but not how long they are.
std::string Cover(std::string text) {
    for (size_t i = 0, end; i < text.size(); i = end + 1) {
        end = std::min(text.find_first_not_of("0123456789ABCDEFabcdef", i), text.size());
        if (end - i >= 16) text.replace(i, end - i, end - i, '#');
    }
    return text;
}

/// The message, with what the signature is worth in its place.
std::string ShowSigned(const std::string& all) {
    const size_t name = all.find("boundary=\"") + 10;
    const std::string line = "\r\n--" + all.substr(name, all.find('"', name) - name);
    const size_t content = all.find(line) + line.size() + 2, end = all.find(line, content);
    const size_t begin = all.find("\r\n\r\n", end) + 4, last = all.find(line, begin);
    if (end == std::string::npos || last == std::string::npos) return "not signed: " + all;
    std::string der(last - begin, '\0');
    auto size = static_cast<unsigned>(der.size());
    KivGuiBase::B64Str2Binary(AnsiStr(all.substr(begin, last - begin)), der.data(), size, "\r\n");
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

std::string ShowArguments(const State& state) {
    return Cover(Dump(state.source)) + Escape(state.in);
}

void ShowFields(const Part& part, std::string& shown) {
    for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
        shown += Escape(part.fields[i].name) + ":" + Escape(part.fields[i].value) + "\n";
    }
    for (const Part* child : part.parts) ShowFields(*child, shown);
}

/// All of it can be looked at, whatever came before.
std::string ShowResults(const State& state, unsigned traits) try {
    std::string shown = Dump(state.report) + Escape({state.bytes.GetData(), state.bytes.GetSize()});
    for (const AnsiStr& text : state.texts) {
        const std::string all(text);
        shown += "\n" + Escape((traits & kSigns) != 0 && !all.empty() ? ShowSigned(all) : all);
    }
    for (const unsigned long long number : state.numbers) shown += "\n" + std::to_string(number);
    shown += "\n" + Dump(*state.tree);
    ShowFields(*state.tree, shown);
    const std::string output(state.output.GetPath());
    return Cover(shown + (fs::exists(output) ? Escape(Test::ReadWholeFile(output)) : ""));
} catch (const std::exception& thrown) {
    Note(kBadFailure, thrown.what());
    return {};
}

/// Where the texts differ, from a little before on.
std::string Compare(const std::string& wanted, const std::string& got) {
    const auto place = std::mismatch(wanted.begin(), wanted.end(), got.begin(), got.end()).first;
    const auto at = static_cast<size_t>(place - wanted.begin());
    const size_t begin = at < 40 ? 0 : at - 40;
    return "\"" + Escape(got.substr(begin, 100)) + "\" for \"" + Escape(wanted.substr(begin, 100)) +
           "\"";
}

void ForgetNamed(const Part& part, std::set<fs::path>& files) {
    files.erase(std::string(part.data.file.GetPath()));
    for (const Part* child : part.parts) ForgetNamed(*child, files);
}

/// Every file in the folder for temporary files has a name in the tree, if there is one.
void CheckFiles(const Part* tree) {
    std::set<fs::path> files;
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path()))
        files.insert(entry.path());
    if (tree != nullptr) ForgetNamed(*tree, files);
    for (const fs::path& file : files) Note(kUnnamedFile, file.filename().string());
}

void EmptyFolder() {
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path()))
        fs::remove(entry.path());
}

// ---- One trial ------------------------------------------------------------------------------------

void Renew(State& state) {
    state.texts = {};
    state.numbers = {};
    state.bytes = {};
    state.tree.emplace();
    state.report = {};
}

/// Calls the library, on a new thread, so that what is kept for each thread is made there too.
bool Call(const Operation& operation, State& state, uint32_t& error) {
    bool isGood = false;
    std::thread([&] {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
        Arm();
        try {
            isGood = operation.run(state);
        } catch (const std::exception& thrown) {
            Disarm();
            Note(kBadFailure, std::string("throws ") + thrown.what());
        }
        Disarm();
        error = KivGuiBase::GetLastError();
    }).join();
    return isGood;
}

void JudgeFailure(const Operation& operation, const Reference& wanted, uint32_t error) {
    const auto& [text, code, mustSucceed] = kKindTable[injection->kind];
    const bool isMemory = code == KivGuiBase::kErrorNotEnoughMemory;
    if (mustSucceed) Note(kBadFailure, "no reason to fail");
    if (error == code || (isMemory && error == KivGuiBase::kErrorOutOfMemory)) return;
    if ((operation.traits & kSigns) != 0 && error != 0) return;
    if (wanted.isGood) Note(kBadFailure, "last error " + std::to_string(error));
}

/// Tries twice, with the fault and without, and looks at everything. Without a reference there is no
/// fault, and the first try becomes it.
void RunTrial(const Operation& operation, const Reference* reference, const std::string& folder) {
    const auto has = [&](Trait trait) { return (operation.traits & trait) != 0; };
    const auto show = [&](const State& state) { return ShowResults(state, operation.traits); };
    const bool maySee = injection->kind != removing;  // else what could not be removed is there
    Reference wanted;
    {
        State state;
        Prepare(state, operation, folder);
        fs::remove(std::string(state.output.GetPath()));
        Renew(state);
        const std::string arguments = ShowArguments(state),
                          before = has(kAtomic) ? show(state) : "";
        uint32_t error = 0;
        const bool isGood = outcome->isGood = Call(operation, state, error);
        const std::string text = show(state);
        if (reference == nullptr) outcome->size = text.copy(outcome->text, sizeof outcome->text);
        wanted = reference != nullptr ? *reference : Reference{isGood, text, {}};
        if (isGood && text != wanted.text) Note(kWrongResult, Compare(wanted.text, text));
        if (!isGood && text != wanted.text) JudgeFailure(operation, wanted, error);
        if (!isGood && has(kAtomic) && text != before) Note(kBadFailure, "half done");
        if (maySee && (isGood || !has(kLeavesFiles))) CheckFiles(&*state.tree);

        injection->isOver = true;
        if (!has(kGoesOn)) Renew(state);
        if (maySee && !has(kGoesOn) && !has(kLeavesFiles)) CheckFiles(nullptr);
        EmptyFolder();
        const bool isGoodAgain = Call(operation, state, error) == wanted.isGood;
        const std::string again = show(state);
        if (!isGoodAgain || again != wanted.text) {
            Note(kBadFailure, "second try: " + Compare(wanted.text, again));
        }
        if (ShowArguments(state) != arguments) Note(kBadFailure, "arguments changed");
        if (!has(kLeavesFiles)) CheckFiles(&*state.tree);
    }
    if (!has(kLeavesFiles)) CheckFiles(nullptr);
    // A context of OpenSSL that is freed while memory is short does not free all.
    const auto countBlocks = [&](const Injection& seen) {
        return seen.blocks + (injection->kind > cryptography ? seen.cryptographyBlocks : 0);
    };
    if (reference != nullptr && countBlocks(*injection) > countBlocks(reference->injection)) {
        Note(kLeak, std::to_string(countBlocks(*injection)) + " blocks");
    }
    if (injection->files != 0 || injection->maps != 0) Note(kLeak, "an open file");
    if (injection->hasBadClose) Note(kBadFailure, "closes a file that is not open");
    if (!IsBad()) outcome->row[outcome->isGood ? kSame : kFailed] = 1;
}

// ---- All of them ----------------------------------------------------------------------------------

/// In a process of its own.
void RunPoint(const Operation& operation, const Reference* wanted, const std::string& folder,
              const Injection& fault) {
    std::memset(static_cast<void*>(outcome), 0, offsetof(Outcome, text));
    *injection = fault;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (std::freopen("/dev/null", "w", stderr) == nullptr) _exit(1);
        alarm(30);
        RunTrial(operation, wanted, folder);
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("no process");
    if (status != 0) Note(kCrash, strsignal(WTERMSIG(status)));
    EmptyFolder();
}

/// The finding, and the functions in which the fault was, as far as addr2line can name them.
void Report(const Operation& operation, const std::string& point) {
    std::string text;
    for (unsigned i = kWrongResult; i < outcome->row.size(); ++i) {
        if (outcome->row[i] != 0) text += kHeads[i] + std::string(" ");
    }
    text += "| " + operation.name + " | " + point + " |" + outcome->why;
    std::fprintf(stderr, "%s\n", text.c_str());
    std::ostringstream command;
    command << "addr2line -Cfsp -e /proc/" << getpid() << "/exe" << std::hex;
    for (int i = 0; i < injection->frameCount; ++i) {
        // The return address is after the call.
        command << " " << static_cast<const char*>(injection->frames[i]) - 1 - &__executable_start;
    }
    command << " | sed '/^?\\|Faults::\\|__wrap/d; s/^/    /; s/ at ?.*//' >&2";
    if (injection->frameCount > 0 && std::system(command.str().c_str()) != 0)
        std::fputs("no addr2line\n", stderr);
}

template <class Cell>
void Print(const std::string& operation, const std::string& kind, const Cell& cell) {
    std::printf("%-36s %-11s", operation.c_str(), kind.c_str());
    for (unsigned i = 0; i < std::size(kHeads); ++i) std::printf(" %12s", cell(i).c_str());
    std::printf("\n");
}

void Print(const std::string& operation, const std::string& kind, const Row& row) {
    Print(operation, kind, [&](unsigned i) { return std::to_string(row[i]); });
}

void Add(Row& sum, const Row& row) {
    for (unsigned i = 0; i < sum.size(); ++i) sum[i] += row[i];
}

/// Points of one kind to be sampled: all, where they are cheap.
unsigned long GetLimit(unsigned traits) {
    if ((traits & kLarge) != 0) return 8;
    return (traits & (kCold | kSigns)) != 0 ? 60 : ~0ul;
}

/// The last points of a signing are all tried, with a single failure: the message is made there. Before
/// that the key is read.
bool IsOfSigning(unsigned traits, unsigned long n, unsigned long count) {
    constexpr unsigned long kLast = 500;
    return (traits & kSigns) != 0 && n + kLast > count;
}

/// The number after "--from=", the first point to be tried; 1 without that option.
unsigned long GetFirst(const std::set<std::string>& options) {
    const std::string name = "--from=";
    const auto option = options.lower_bound(name);
    const bool isThere = option != options.end() && option->starts_with(name);
    return isThere ? std::stoul(option->substr(name.size())) : 1;
}

/// Every second point can be left out, for a second process to try.
bool IsLeftOut(const std::set<std::string>& options, unsigned long n) {
    return options.contains(n % 2 == 0 ? "--odd" : "--even");
}

/// All points of one kind.
Row TryKind(const Operation& operation, const Reference& wanted, const std::string& folder,
            Kind kind, const std::set<std::string>& options) {
    const unsigned long count = wanted.injection.calls[kind];
    const unsigned long limit = options.contains("--all") ? count : GetLimit(operation.traits);
    Test::Random random(1);
    Row row{};
    for (const bool isLasting : {false, true}) {
        if (isLasting && kind == interruption) continue;  // it would never end
        for (unsigned long n = GetFirst(options); n <= count; ++n) {
            const bool isSample = random.Below(count) < limit;
            const bool isWanted =
                isSample || (!isLasting && IsOfSigning(operation.traits, n, count));
            if (!isWanted || IsLeftOut(options, n)) continue;
            RunPoint(operation, &wanted, folder, {kind, n, isLasting});
            outcome->row[kPoints] = 1;
            Add(row, outcome->row);
            if (!IsBad() || !options.contains("--verbose")) continue;
            Report(operation, kKindTable[kind].text + (" " + std::to_string(n)) + " of " +
                                  std::to_string(count) + (isLasting ? " and later" : ""));
        }
    }
    if (count != 0) Print(operation.name, kKindTable[kind].text, row);
    return row;
}

void WarmUp(const Operation& operation, const std::string& folder) {
    *injection = {};
    State state;
    Prepare(state, operation, folder);
    Renew(state);
    uint32_t error = 0;
    Call(operation, state, error);
    state.tree.reset();
    EmptyFolder();
}

int Main(const std::set<std::string>& options) {
    void* memory = mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no shared memory");
    outcome = static_cast<Outcome*>(memory);
    injection = &outcome->injection;
    InjectIntoCryptography();
    const Test::TempFolder files;
    const std::string& folder = files.GetPath();
    const std::vector<Operation> operations = GetOperations(folder);
    const Test::TempFolder bodies;
    Print("operation", "kind", [](unsigned i) { return std::string(kHeads[i]); });
    std::array<Row, kKinds> rows{};
    for (const Operation& operation : operations) {
        const auto isWanted = [&](const std::string& option) {
            return option.starts_with("--") || operation.name.find(option) != std::string::npos;
        };
        if (!std::all_of(options.begin(), options.end(), isWanted)) continue;
        // What the first call of the process makes is there for all points, or for none.
        if ((operation.traits & kCold) == 0) WarmUp(operation, folder);
        RunPoint(operation, nullptr, folder, {});
        if (IsBad()) throw std::runtime_error(operation.name + " without a fault:" + outcome->why);
        const Reference wanted{outcome->isGood, {outcome->text, outcome->size}, *injection};
        for (unsigned kind = 0; kind < kKinds; ++kind) {
            Add(rows[kind], TryKind(operation, wanted, folder, static_cast<Kind>(kind), options));
        }
    }
    Row all{};
    for (unsigned kind = 0; kind < kKinds; ++kind) {
        Print("all operations", kKindTable[kind].text, rows[kind]);
        Add(all, rows[kind]);
    }
    Print("all operations", "all kinds", all);
    return all[kSame] + all[kFailed] == all[kPoints] ? 0 : 1;
}

}  // namespace
}  // namespace MIME::Faults

int main(int argc, char** argv) {
    return MIME::Faults::Main({argv + 1, argv + argc});
}

// Runs the library over a folder of messages and prints one line of JSON, in the form in which
// several MIME libraries are compared on the same messages.
//
// usage: peer_harness CORPUSDIR NAME TASK [TMPDIR [REPS [BUDGET_SECONDS]]]
//   a  read every message with the exact rules; each decoded body is written to a new file
//   m  the same with the mail rules
//   p  parse every message as a mail; nothing is decoded
//   b  parse every message as a mail; each body is decoded into memory
//   e  write trees whose bodies are held decoded, one new file per message
//   s  print the sha256 of all decoded bodies in document order, untimed
//   t  the same of what b decodes
// The first round is a warm-up; deleting files is not timed.

#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "mime/mail.h"
#include "mime/mime.h"

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& what) {
    std::fprintf(stderr, "peer_harness: %s\n", what.c_str());
    std::exit(3);
}

std::string ReadWholeFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) Fail("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> LoadMessages(const fs::path& folder) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".eml") paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> messages;
    for (const auto& path : paths) messages.push_back(ReadWholeFile(path));
    return messages;
}

long GetStatusKb(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key)) return std::atol(line.c_str() + key.size() + 1);
    }
    return 0;
}

void ResetPeakMemory() {
    std::ofstream("/proc/self/clear_refs") << '5';
}

double GetWallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double GetCpuSeconds() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Bodies, in files or in memory.
struct Counts {
    size_t files = 0;
    size_t bytes = 0;
};

std::unique_ptr<MIME::Part> Read(const std::string& message) {
    auto tree = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    if (!tree->Read(message.data(), message.size(), error)) Fail(error.GetStr());
    return tree;
}

Counts ReadAsMail(const std::string& message) {
    static const auto options = [] {
        auto mail = MIME::ReadOptions::Mail();
        mail.ownFiles = false;  // deleting them is not timed
        return mail;
    }();
    MIME::Part tree;
    MIME::AnsiStr error;
    if (!tree.Read(message.data(), message.size(), error, options)) Fail(error.GetStr());
    return {};
}

/// Calls `use` with every part that has a body file, in document order.
void ForEachLeaf(const MIME::Part& top, const std::function<void(const MIME::Part&)>& use) {
    std::vector<const MIME::Part*> waiting{&top};
    while (!waiting.empty()) {
        const MIME::Part* part = waiting.back();
        waiting.pop_back();
        for (unsigned i = part->parts.GetCount(); i-- > 0;) waiting.push_back(part->parts[i]);
        if (!part->data.file.IsEmpty()) use(*part);
    }
}

MIME::Mail Parse(const std::string& message) {
    MIME::Result<MIME::Mail> mail = MIME::Mail::Parse(std::string_view(message));
    if (!mail) Fail(std::string(mail.error().GetText()));
    return std::move(*mail);
}

/// Parses a message and looks at the place of every entity.
Counts ParseOnly(const std::string& message) {
    const MIME::Mail mail = Parse(message);
    Counts counts;
    for (const MIME::Entity& entity : mail.GetEntities()) {
        if (entity.HasChildren()) continue;
        ++counts.files;
        counts.bytes += entity.GetBodyRange().size;
    }
    return counts;
}

/// Calls `use` with every decoded body, in document order.
void ForEachBody(const std::string& message, const std::function<void(const std::string&)>& use) {
    const MIME::Mail mail = Parse(message);
    for (const MIME::Entity& entity : mail.GetEntities()) {
        if (!entity.HasChildren()) use(entity.Decode());
    }
}

/// Decodes all bodies and looks at a byte of every page of them.
Counts DecodeAll(const std::string& message) {
    constexpr size_t kPage = 4096;
    static volatile char seen;
    Counts counts;
    ForEachBody(message, [&](const std::string& body) {
        ++counts.files;
        counts.bytes += body.size();
        for (size_t at = 0; at < body.size(); at += kPage) seen = body[at];
    });
    static_cast<void>(seen);
    return counts;
}

/// Counts the files in a folder and deletes them.
Counts WipeFolder(const fs::path& folder) {
    Counts counts;
    for (const auto& entry : fs::directory_iterator(folder)) {
        ++counts.files;
        counts.bytes += entry.file_size();
    }
    for (const auto& entry : fs::directory_iterator(folder)) fs::remove(entry.path());
    return counts;
}

struct Result {
    std::vector<double> wall;
    std::vector<double> cpu;
    Counts counts;
    long baseKb = 0;
    std::string sha256;
};

/// @param work  counts the bodies that it makes, unless they are files in the folder.
Result Measure(const fs::path& outputFolder, int reps, double budget,
               const std::function<Counts()>& work) {
    Result result;
    result.baseKb = GetStatusKb("VmRSS");
    ResetPeakMemory();
    double total = 0;
    for (int round = 0; round <= reps; ++round) {
        const double wallStart = GetWallSeconds();
        const double cpuStart = GetCpuSeconds();
        const Counts counts = work();
        const double cpu = GetCpuSeconds() - cpuStart;
        const double wall = GetWallSeconds() - wallStart;
        total += wall;
        result.counts = counts.files != 0 ? counts : WipeFolder(outputFolder);
        if (round > 0 || total > budget) {
            result.wall.push_back(wall);
            result.cpu.push_back(cpu);
        }
        if (total > budget && !result.wall.empty()) break;
    }
    return result;
}

std::vector<std::unique_ptr<MIME::Part>> ReadAll(const std::vector<std::string>& messages) {
    std::vector<std::unique_ptr<MIME::Part>> trees;
    for (const auto& message : messages) trees.push_back(Read(message));
    return trees;
}

/// The sha256 of all bodies that are added, and their number.
class Digest {
public:
    Digest() : context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
        EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr);
    }

    void Add(const std::string& body) {
        ++counts_.files;
        counts_.bytes += body.size();
        EVP_DigestUpdate(context_.get(), body.data(), body.size());
    }
    Result Finish() {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned length = 0;
        EVP_DigestFinal_ex(context_.get(), digest, &length);
        Result result{{0}, {0}, counts_, 0, {}};
        for (unsigned i = 0; i < length; ++i) {
            char hex[3];
            std::snprintf(hex, sizeof hex, "%02x", digest[i]);
            result.sha256 += hex;
        }
        return result;
    }

private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
    Counts counts_;
};

Result DigestFiles(const std::vector<std::string>& messages) {
    Digest digest;
    for (const auto& message : messages) {
        ForEachLeaf(*Read(message), [&](const MIME::Part& leaf) {
            const fs::path path = leaf.data.file.GetPath().GetStr();
            digest.Add(ReadWholeFile(path));
            fs::remove(path);
        });
    }
    return digest.Finish();
}

Result DigestBodies(const std::vector<std::string>& messages) {
    Digest digest;
    for (const auto& message : messages) {
        ForEachBody(message, [&](const std::string& body) { digest.Add(body); });
    }
    return digest.Finish();
}

/// A task for one message, done for all.
using MessageTask = Counts (*)(const std::string& message);

Counts ForAll(const std::vector<std::string>& messages, MessageTask task) {
    Counts sum;
    for (const auto& message : messages) {
        const Counts counts = task(message);
        sum.files += counts.files;
        sum.bytes += counts.bytes;
    }
    return sum;
}

Counts ReadOnly(const std::string& message) {
    Read(message);
    return {};
}

/// Null for a task that is not done message by message.
MessageTask FindTask(const std::string& task) {
    if (task == "a") return ReadOnly;
    if (task == "m") return ReadAsMail;
    if (task == "p") return ParseOnly;
    if (task == "b") return DecodeAll;
    return nullptr;
}

void Print(const char* task, const char* corpus, size_t bytes, Result result) {
    std::sort(result.wall.begin(), result.wall.end());
    std::sort(result.cpu.begin(), result.cpu.end());
    const size_t middle = result.wall.size() / 2;
    std::printf(
        "{\"peer\":\"kivmime\",\"task\":\"%s\",\"corpus\":\"%s\",\"bytes\":%zu,"
        "\"seconds_best\":%.6f,\"seconds_median\":%.6f,\"cpu_best\":%.6f,\"cpu_median\":%.6f,"
        "\"reps\":%zu,\"peak_rss_kb\":%ld,\"base_rss_kb\":%ld,\"parts\":%zu,\"body_bytes\":%zu,"
        "\"sha256\":\"%s\",\"touch\":0}\n",
        task, corpus, bytes, result.wall.front(), result.wall[middle], result.cpu.front(),
        result.cpu[middle], result.wall.size(), GetStatusKb("VmHWM"), result.baseKb,
        result.counts.files, result.counts.bytes, result.sha256.c_str());
}

/// A new folder that is removed with its content. TMPDIR is set to it meanwhile.
class WorkFolder {
public:
    explicit WorkFolder(const fs::path& parent) {
        std::string name = (parent / "peers-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) Fail("cannot make a folder in " + parent.string());
        path_ = name;
        setenv("TMPDIR", name.c_str(), 1);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder() { fs::remove_all(path_); }
    const fs::path& GetPath() const { return path_; }

private:
    fs::path path_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s CORPUSDIR NAME a|m|p|b|e|s|t [TMPDIR [REPS [BUDGET]]]\n",
                     argv[0]);
        return 2;
    }
    const char* corpus = argv[2];
    const std::string task = argv[3];
    const int reps = argc > 5 ? std::atoi(argv[5]) : 7;
    const double budget = argc > 6 ? std::atof(argv[6]) : 15;
    const auto messages = LoadMessages(fs::path(argv[1]) / corpus);
    size_t bytes = 0;
    for (const auto& message : messages) bytes += message.size();

    const fs::path parent = argc > 4 ? argv[4] : "/dev/shm";
    const WorkFolder bodies(parent);
    const MessageTask messageTask = FindTask(task);
    if (task == "s" || task == "t") {
        Print(task.c_str(), corpus, bytes,
              task == "s" ? DigestFiles(messages) : DigestBodies(messages));
    } else if (messageTask != nullptr) {
        Print(task.c_str(), corpus, bytes, Measure(bodies.GetPath(), reps, budget, [&] {
                  return ForAll(messages, messageTask);
              }));
    } else if (task == "e") {
        const auto trees = ReadAll(messages);
        const WorkFolder output(parent);
        Print("e", corpus, bytes, Measure(output.GetPath(), reps, budget, [&] {
                  size_t number = 0;
                  for (const auto& tree : trees) {
                      const auto path = output.GetPath() / (std::to_string(number++) + ".eml");
                      if (!tree->Write(MIME::File(path.c_str()))) Fail("write failed");
                  }
                  return Counts();
              }));
    } else {
        std::printf("{\"peer\":\"kivmime\",\"task\":\"%s\",\"corpus\":\"%s\",\"na\":true}\n",
                    task.c_str(), corpus);
    }
    return 0;
}

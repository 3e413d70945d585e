#include "harness.h"

#include <openssl/evp.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>

namespace Harness {

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

namespace {

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

HeaderField::Kind GetKind(std::string_view name) {
    if (name.ends_with("Date")) return HeaderField::Kind::date;
    static const std::set<std::string_view> kAddresses{
        "From", "To", "Cc", "Bcc", "Reply-To", "Sender", "Resent-From", "Resent-To"};
    return kAddresses.contains(name) ? HeaderField::Kind::addresses : HeaderField::Kind::text;
}

std::vector<HeaderField> ListFields(const std::vector<std::string>& blocks) {
    std::vector<HeaderField> fields;
    for (const std::string& block : blocks) {
        std::istringstream lines(block);
        for (std::string line; std::getline(lines, line);) {
            const size_t colon = line.find(':');
            if (colon == std::string::npos) Fail("not a field: " + line);
            fields.push_back(
                {GetKind(std::string_view(line).substr(0, colon)), line.substr(colon + 1)});
        }
    }
    if (fields.empty()) Fail("there are no fields");
    return fields;
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

}  // namespace

void Touch(std::string_view body) noexcept {
    constexpr size_t kPage = 4096;
    static volatile char seen;
    for (size_t at = 0; at < body.size(); at += kPage) seen = body[at];
    static_cast<void>(seen);
}

WorkFolder::WorkFolder(const fs::path& parent) {
    std::string name = (parent / "peers-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) Fail("cannot make a folder in " + parent.string());
    path_ = name;
    setenv("TMPDIR", name.c_str(), 1);
}

struct Run::Result {
    std::vector<double> wall;
    std::vector<double> cpu;
    Counts counts;
    long baseKb = 0;
    std::string sha256;
};

namespace {

char** CheckArguments(int argc, char** argv, const char* tasks) {
    if (argc >= 4) return argv;
    std::fprintf(stderr, "usage: %s FOLDER NAME TASK [TMPDIR [REPS [BUDGET]]]\ntasks: %s\n",
                 argv[0], tasks);
    std::exit(2);
}

}  // namespace

Run::Run(int argc, char** argv, const char* library, const char* tasks)
    : library_(library),
      corpus_(CheckArguments(argc, argv, tasks)[2]),
      task_(argv[3]),
      messages_(LoadMessages(fs::path(argv[1]) / corpus_)),
      reps_(argc > 5 ? std::atoi(argv[5]) : 7),
      budget_(argc > 6 ? std::atof(argv[6]) : 15),
      folder_(argc > 4 ? argv[4] : "/dev/shm") {
    for (const auto& message : messages_) bytes_ += message.size();
}

std::string Run::GetFileName(size_t number) const {
    return GetFolder() / (std::to_string(number) + ".out");
}

void Run::Measure(const std::function<Counts()>& work) {
    Result result;
    result.baseKb = GetStatusKb("VmRSS");
    ResetPeakMemory();
    double total = 0;
    for (int round = 0; round <= reps_; ++round) {
        const double wallStart = GetWallSeconds();
        const double cpuStart = GetCpuSeconds();
        const Counts counts = work();
        const double cpu = GetCpuSeconds() - cpuStart;
        const double wall = GetWallSeconds() - wallStart;
        total += wall;
        result.counts = counts.files != 0 ? counts : WipeFolder(GetFolder());
        if (round > 0 || total > budget_) {
            result.wall.push_back(wall);
            result.cpu.push_back(cpu);
        }
        if (total > budget_ && !result.wall.empty()) break;
    }
    Print(std::move(result));
}

void Run::MeasureEach(const std::function<Counts(const std::string& message)>& work) {
    Measure([&] {
        Counts sum;
        for (const auto& message : messages_) {
            const Counts counts = work(message);
            sum.files += counts.files;
            sum.bytes += counts.bytes;
        }
        return sum;
    });
}

void Run::MeasureFields(const std::function<void(const HeaderField& field)>& work) {
    constexpr size_t kCount = 1'000'000;
    const std::vector<HeaderField> fields = ListFields(messages_);
    Measure([&] {
        Counts counts;
        while (counts.files < kCount) {
            const HeaderField& field = fields[counts.files % fields.size()];
            counts.Add(field.value.size());
            work(field);
        }
        return counts;
    });
}

void Run::Digest(
    const std::function<void(const std::function<void(std::string_view)>& use)>& work) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    Result result{{0}, {0}, {}, 0, {}};
    work([&](std::string_view body) {
        result.counts.Add(body.size());
        EVP_DigestUpdate(context.get(), body.data(), body.size());
    });
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_DigestFinal_ex(context.get(), digest, &length);
    for (unsigned i = 0; i < length; ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02x", digest[i]);
        result.sha256 += hex;
    }
    Print(std::move(result));
}

void Run::Skip() const {
    std::printf("{\"peer\":\"%s\",\"task\":\"%s\",\"corpus\":\"%s\",\"na\":true}\n",
                library_.c_str(), task_.c_str(), corpus_.c_str());
}

void Run::Print(Result result) const {
    std::sort(result.wall.begin(), result.wall.end());
    std::sort(result.cpu.begin(), result.cpu.end());
    const size_t middle = result.wall.size() / 2;
    std::printf(
        "{\"peer\":\"%s\",\"task\":\"%s\",\"corpus\":\"%s\",\"bytes\":%zu,"
        "\"seconds_best\":%.6f,\"seconds_median\":%.6f,\"cpu_best\":%.6f,\"cpu_median\":%.6f,"
        "\"reps\":%zu,\"peak_rss_kb\":%ld,\"base_rss_kb\":%ld,\"parts\":%zu,\"body_bytes\":%zu,"
        "\"sha256\":\"%s\",\"touch\":0}\n",
        library_.c_str(), task_.c_str(), corpus_.c_str(), bytes_, result.wall.front(),
        result.wall[middle], result.cpu.front(), result.cpu[middle], result.wall.size(),
        GetStatusKb("VmHWM"), result.baseKb, result.counts.files, result.counts.bytes,
        result.sha256.c_str());
}

}  // namespace Harness

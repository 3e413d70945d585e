// Prints what the library makes of many inputs, a line for each case: its label and a hash of all that
// came out. Two builds behave the same when their lines are the same; compare_builds.sh compares them.
//
//   dump_behaviour [--inputs N] [--words FILE] [--dump LABEL] FILE-OR-FOLDER...
//
// Every case depends on its label and the arguments alone, so that --dump can print one of them whole.
// Temporary files are made in TMPDIR, which must be empty, and removed after each case.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cases.h"
#include "dump.h"

namespace Behaviour {

Settings g_settings;

bool IsWanted(std::string_view group) {
    return g_settings.wanted.empty() ||
           std::string_view(g_settings.wanted).substr(0, group.size()) == group;
}

void RunCase(const std::string& label, const std::function<void(Dump&)>& body) {
    if (!g_settings.wanted.empty() && g_settings.wanted != label) return;
    Dump dump;
    body(dump);
    if (g_settings.wanted.empty()) {
        std::printf("%s %016llx\n", label.c_str(), dump.GetHash());
        return;
    }
    for (const char c : dump.GetText()) {
        if (c == '\n' || (c >= 32 && c < 127)) {
            std::putchar(c);
        } else {
            std::printf("\\x%02X", static_cast<unsigned char>(c));
        }
    }
}
namespace {

namespace fs = std::filesystem;
using std::string;
using std::string_view;

/// Every plain file of the folders, with a label that does not depend on where the folder is.
std::vector<std::pair<string, string>> FindFiles(const std::vector<string>& roots) {
    std::vector<std::pair<string, string>> files;
    for (const string& root : roots) {
        if (!fs::is_directory(root)) {
            files.emplace_back(fs::path(root).filename().string(), root);
            continue;
        }
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file()) continue;
            files.emplace_back(fs::relative(entry.path(), root).string(), entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<string> ReadSamples(const std::vector<std::pair<string, string>>& files) {
    constexpr uintmax_t kMaxSample = 30000;
    std::vector<string> samples;
    for (const auto& file : files) {
        if (fs::file_size(file.second) <= kMaxSample) samples.push_back(ReadBytes(file.second));
    }
    return samples;
}

std::vector<string> ReadLines(const string& path) {
    std::vector<string> lines;
    std::ifstream in(path);
    for (string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

int Main(int argc, char** argv) {
    unsigned inputs = 100000;
    std::vector<string> words;
    std::vector<string> roots;
    for (int i = 1; i < argc; ++i) {
        const string_view option = argv[i];
        const bool hasValue = option.substr(0, 2) == "--" && i + 1 < argc;
        if (!hasValue) {
            roots.emplace_back(option);
        } else if (option == "--inputs") {
            inputs = static_cast<unsigned>(std::atoi(argv[++i]));
        } else if (option == "--words") {
            words = ReadLines(argv[++i]);
        } else if (option == "--dump") {
            g_settings.wanted = argv[++i];
        } else {
            std::fprintf(stderr, "unknown option %s\n", argv[i]);
            return 2;
        }
    }
    const char* temporary = std::getenv("TMPDIR");
    if (temporary == nullptr || !fs::is_empty(temporary)) {
        std::fprintf(stderr, "TMPDIR must name an empty folder\n");
        return 2;
    }
    g_settings.temporary = temporary;
    g_settings.output = g_settings.temporary.string() + ".out";

    const auto files = FindFiles(roots);
    const std::vector<string> samples = ReadSamples(files);
    RunVocabulary(words);
    RunLarge();
    for (const auto& [label, path] : files) RunFile("file/" + label, path);
    for (unsigned i = 0; i < inputs; ++i) RunInput(i, samples);
    for (unsigned i = 0; i < inputs / 4; ++i) RunBuilt(i);
    for (unsigned i = 0; i < inputs / 2; ++i) RunText(i);
    fs::remove(g_settings.output);
    return 0;
}
}  // namespace

}  // namespace Behaviour

int main(int argc, char** argv) {
    return Behaviour::Main(argc, argv);
}

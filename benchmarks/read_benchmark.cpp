// Reading messages in memory, with the exact rules and with the mail rules, every body decoded into a
// new file; compared with creating, writing and closing files of the same sizes.

#include <string>
#include <vector>

#include "benchmarks/bodies.h"
#include "benchmarks/limit.h"
#include "benchmarks/messages.h"
#include "benchmarks/new_files.h"

namespace MIME::Bench {
namespace {

void ReadAll(const std::vector<std::string>& messages, const ReadOptions& options = {}) {
    for (const std::string& message : messages) {
        Part tree;
        Read(tree, message, options);
    }
}

void MeasureRead(benchmark::State& state, const std::vector<std::string>& messages,
                 const std::string& limit, const ReadOptions& options = {}) {
    const Test::TempFolder folder;
    for (auto step : state) {
        ReadAll(messages, options);
        WipeUntimed(state, folder);
    }
    SetBytesAndLimit(state, CountBytes(messages), limit);
}

void MeasureLimit(benchmark::State& state, const std::vector<std::string>& messages) {
    std::vector<size_t> sizes;
    {
        const Test::TempFolder folder;
        ReadAll(messages);
        sizes = GetFileSizes(folder);
    }
    MeasureNewFiles(state, sizes, CountBytes(messages));
}

[[maybe_unused]] const bool kRegistered = [] {
    for (const auto& [name, mail] : kMails) {
        const std::string limit = "MakeBodyFiles/" + std::string(name);
        benchmark::RegisterBenchmark(
            ("Read/" + std::string(name)).c_str(),
            [limit, mail = mail](auto& state) { MeasureRead(state, GetMessages(mail), limit); });
        benchmark::RegisterBenchmark(
            ("ReadMail/" + std::string(name)).c_str(),
            [strict = "Read/" + std::string(name), mail = mail](auto& state) {
                ReadOptions options = ReadOptions::Mail();
                options.ownFiles = false;  // deleting them is not timed
                MeasureRead(state, GetMessages(mail), strict, options);
            });
        benchmark::RegisterBenchmark(
            limit.c_str(), [mail = mail](auto& state) { MeasureLimit(state, GetMessages(mail)); });
    }
    return true;
}();

void ReadAtScale(benchmark::State& state) {
    std::vector<std::string> messages;
    for (const std::string& body : MakeBodies(MakeProse, static_cast<size_t>(state.range(0)))) {
        messages.push_back(MakeTextMessage(body));
    }
    MeasureRead(state, messages, "");
}
BENCHMARK(ReadAtScale)->Name("Scale/Read")->RangeMultiplier(8)->Range(1 << 10, 1 << 25);

}  // namespace
}  // namespace MIME::Bench

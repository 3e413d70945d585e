// Writing trees whose decoded bodies are in files; compared with reading the same body files and
// creating, writing and closing message files of the same sizes.

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/limit.h"
#include "benchmarks/messages.h"
#include "benchmarks/new_files.h"
#include "mime/mime.h"

namespace MIME::Bench {
namespace {

/// The trees of one kind of mail, their bodies in a folder of their own.
class Trees {
public:
    explicit Trees(Mail mail) : bytes_(CountBytes(GetMessages(mail))) {
        for (const std::string& message : GetMessages(mail)) {
            trees_.push_back(std::make_unique<Part>());
            Read(*trees_.back(), message);
        }
    }

    void WriteAll(const Test::TempFolder& target) const {
        size_t number = 0;
        for (const auto& tree : trees_) {
            const std::string path = target.At(std::to_string(number++) + ".eml");
            if (!tree->Write(File(AnsiStr(path)))) throw std::runtime_error("cannot write " + path);
        }
    }
    uint64_t GetBytes() const { return bytes_; }
    const Test::TempFolder& GetBodyFolder() const { return bodies_; }

private:
    Test::TempFolder bodies_;
    std::vector<std::unique_ptr<Part>> trees_;
    uint64_t bytes_;
};

void MeasureWrite(benchmark::State& state, Mail mail, const std::string& limit) {
    const Trees trees(mail);
    const Test::TempFolder target;
    for (auto step : state) {
        trees.WriteAll(target);
        WipeUntimed(state, target);
    }
    SetBytesAndLimit(state, trees.GetBytes(), limit);
}

void MeasureLimit(benchmark::State& state, Mail mail) {
    const Trees trees(mail);
    std::vector<size_t> sizes;
    {
        const Test::TempFolder target;
        trees.WriteAll(target);
        sizes = GetFileSizes(target);
    }
    MeasureNewFiles(state, sizes, trees.GetBytes(), &trees.GetBodyFolder());
}

[[maybe_unused]] const bool kRegistered = [] {
    for (const auto& [name, mail] : kMails) {
        const std::string limit = "CopyFiles/" + std::string(name);
        benchmark::RegisterBenchmark(
            ("Write/" + std::string(name)).c_str(),
            [limit, mail = mail](auto& state) { MeasureWrite(state, mail, limit); });
        benchmark::RegisterBenchmark(limit.c_str(),
                                     [mail = mail](auto& state) { MeasureLimit(state, mail); });
    }
    return true;
}();

}  // namespace
}  // namespace MIME::Bench

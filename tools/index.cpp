#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "commands.h"
#include "files.h"
#include "index_progress.h"
#include "index_queue.h"
#include "index_record.h"
#include "index_resume.h"
#include "output.h"

// "index": several threads draw messages from one queue and give it the records, which it writes in the
// order of the messages. So the output does not depend on how many threads there are.

namespace Tool {

namespace {

/// Where the records go: the end of a file, or standard output. The file is not replaced when it is
/// complete, as other outputs are: what it has when the run is interrupted is where the next one goes on.
class RecordsFile {
public:
    RecordsFile(const std::string& target, bool isResumed) : target_(target) {
        if (target == "-") return;
        std::error_code error;
        const bool hasRecords = std::filesystem::is_regular_file(ToPath(target), error) &&
                                std::filesystem::file_size(ToPath(target), error) != 0;
        if (hasRecords && !isResumed) {
            throw Failure(target, "exists; --resume adds the records that it lacks");
        }
        file_.open(ToPath(target), std::ios::binary | std::ios::app);
        Check();
    }

    void Write(std::string_view line) {
        if (target_ == "-") return Print(line);
        file_.write(line.data(), static_cast<std::streamsize>(line.size()));
        Check();
    }

    void Finish() {
        if (target_ == "-") return FinishOutput();
        file_.close();
        Check();
    }

private:
    void Check() const {
        if (!file_) throw Failure(target_, GetSystemReason());
    }

    const std::string& target_;
    std::ofstream file_;
};

void Work(IndexQueue& queue, const IndexOptions& options) {
    try {
        RecordMaker maker(options.sources.selection, options.hashes);
        while (const std::optional<IndexTask> task = queue.Draw()) {
            IndexRecord record;
            try {
                record = maker.Make(*task);
            } catch (const std::bad_alloc&) {
                record = MakeFailureRecord(*task, "not enough memory");
            }
            queue.Finish(*task, std::move(record));
        }
    } catch (...) {
        queue.Stop(std::current_exception());
    }
}

void WorkTogether(IndexQueue& queue, const IndexOptions& options, unsigned threads) {
    std::vector<std::thread> others;
    try {
        while (others.size() + 1 < threads) {
            others.emplace_back([&queue, &options] { Work(queue, options); });
        }
    } catch (const std::system_error&) {
        // There are fewer, then.
    }
    Work(queue, options);
    for (std::thread& thread : others) thread.join();
    queue.Check();
}

}  // namespace

int Index(const IndexOptions& options) {
    if (options.hashes && !Sha256::IsAvailable()) {
        throw Failure("--hashes", "this program was built without OpenSSL, which makes them");
    }
    DoneRecords done;
    if (options.resume) done.ReadFrom(options.target);
    RecordsFile out(options.target, options.resume);
    uint64_t written = 0;
    uint64_t failed = 0;
    {
        IndexProgress progress(options.sources, done, options.target == "-");
        IndexQueue queue(options.sources, done, options.target, progress,
                         [&](const IndexRecord& record) {
                             out.Write(record.line);
                             ++written;
                             failed += record.isFailure ? 1 : 0;
                         });
        WorkTogether(queue, options,
                     options.threads != 0 ? options.threads : std::thread::hardware_concurrency());
    }
    out.Finish();
    if (failed == 0) return 0;
    PrintError(std::to_string(failed) + " of " + std::to_string(written) +
               " messages could not be read; \"failure\" in their records says why");
    return 1;
}

}  // namespace Tool

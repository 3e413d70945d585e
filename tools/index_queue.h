#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include <mime/mail.h>

#include "index_progress.h"
#include "index_resume.h"
#include "inputs.h"
#include "mailbox_walk.h"

namespace Tool {

/// A message of which a record is to be made.
struct IndexTask {
    size_t file = 0;      ///< which file of all, from 0
    uint64_t number = 0;  ///< which message of that file, from 0
    std::string path;
    std::string failure;                     ///< empty, or why there is no text
    std::optional<MIME::FolderEntry> entry;  ///< with the text
    std::string text;                        ///< or the text of a stream
    bool isOnly = false;                     ///< the file has no other message
};

struct IndexRecord {
    std::string line;  ///< empty: the message has none
    bool isFailure = false;
};

/// Puts records into the order of their messages. Not to be called by two threads at once.
class OrderedRecords {
public:
    explicit OrderedRecords(std::function<void(const IndexRecord&)> write)
        : write_(std::move(write)) {}

    void Put(const IndexTask& task, IndexRecord record);
    /// The file has no more messages than these.
    void CloseFile(size_t file, uint64_t count);
    bool IsFull() const;

private:
    using Place = std::pair<size_t, uint64_t>;
    void WriteReady();

    const std::function<void(const IndexRecord&)> write_;
    std::map<Place, IndexRecord> waiting_;
    size_t waitingBytes_ = 0;
    std::map<size_t, uint64_t> counts_;  ///< of files that are closed and not yet written
    Place next_{0, 0};
};

/// Hands out the messages that the user gave, to any number of threads, and takes their records back.
///
/// Few messages and records are in memory at a time: a thread that asks for a message waits while too
/// many records wait for one before them.
class IndexQueue {
public:
    /// @param done   the messages that need no record.
    /// @param output  the file of the records, which may be in a folder of messages; or "-".
    /// @param write  takes the records, in the order of the messages.
    IndexQueue(const Sources& sources, const DoneRecords& done, std::string output,
               IndexProgress& progress, std::function<void(const IndexRecord&)> write)
        : output_(std::move(output)),
          walk_(sources),
          done_(done),
          progress_(progress),
          records_(std::move(write)) {}

    /// The next message; waits for it. Nothing at the end, or after Stop.
    std::optional<IndexTask> Draw();
    void Finish(const IndexTask& task, IndexRecord record);
    /// Ends the work because of an error, which Check throws.
    void Stop(std::exception_ptr why);
    void Check() const;

private:
    using Lock = std::unique_lock<std::mutex>;

    struct OpenMbox {
        std::string path;
        MIME::MailFolder folder;
        uint64_t count = 0;         ///< of its messages that were handed out
        uint64_t released = 0;      ///< up to here its pages were given back to the system
        uint64_t releasedOnce = 0;  ///< from here, once
    };

    std::optional<IndexTask> DrawFromMbox();
    std::optional<IndexTask> DrawFile(Lock& lock);
    void OpenFile(IndexTask& task, const WalkedFile& file, std::optional<MIME::MailFolder>& mbox);
    bool IsOutput(const std::string& path) const;
    bool IsDone(const IndexTask& task) const;
    static void ReleasePassed(OpenMbox& mbox, const MIME::FolderEntry& entry);

    const std::string output_;
    std::mutex mutex_;  ///< for all of what follows
    std::condition_variable isChanged_;
    MailboxWalk walk_;
    bool isWalked_ = false;
    size_t fileCount_ = 0;
    size_t opening_ = 0;  ///< files that threads are opening
    size_t working_ = 0;  ///< tasks that are not finished
    std::map<size_t, OpenMbox> mboxes_;
    const DoneRecords& done_;
    IndexProgress& progress_;
    OrderedRecords records_;
    std::exception_ptr stopped_;
};

}  // namespace Tool

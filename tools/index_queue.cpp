#include "index_queue.h"

#include <filesystem>
#include <new>
#include <system_error>

#include "files.h"
#include "kivgui/memory_file.h"

// A draw takes the next message of the first mbox that is open; when there is none it opens the next file,
// without the lock, so that several threads read files at once. As long as one is being opened, it may turn
// out to be an mbox, so the end of the walk is not the end of the work.
//
// Records wait for those before them. When too many do, no more messages are handed out, except one when
// nobody works: the message that the records wait for is then the next one.

namespace Tool {

using KivGuiBase::MemoryFile;

// ------------------------------------------------------------------------------------ the order --

bool OrderedRecords::IsFull() const {
    constexpr size_t kMaxRecords = 1000;
    constexpr size_t kMaxBytes = 0x800000;
    return waiting_.size() + counts_.size() >= kMaxRecords || waitingBytes_ >= kMaxBytes;
}

void OrderedRecords::Put(const IndexTask& task, IndexRecord record) {
    waitingBytes_ += record.line.size();
    waiting_.emplace(Place(task.file, task.number), std::move(record));
    WriteReady();
}

void OrderedRecords::CloseFile(size_t file, uint64_t count) {
    counts_.emplace(file, count);
    WriteReady();
}

void OrderedRecords::WriteReady() {
    for (;;) {
        const auto record = waiting_.find(next_);
        if (record != waiting_.end()) {
            waitingBytes_ -= record->second.line.size();
            if (!record->second.line.empty()) write_(record->second);
            waiting_.erase(record);
            ++next_.second;
            continue;
        }
        const auto closed = counts_.find(next_.first);
        if (closed == counts_.end() || closed->second != next_.second) return;
        counts_.erase(closed);
        next_ = {next_.first + 1, 0};
    }
}

// ------------------------------------------------------------------------------------ the queue --

std::optional<IndexTask> IndexQueue::Draw() {
    Lock lock(mutex_);
    for (;;) {
        if (stopped_ != nullptr) return std::nullopt;
        if (records_.IsFull() && working_ + opening_ != 0) {
            isChanged_.wait(lock);
            continue;
        }
        if (auto task = DrawFromMbox()) return task;
        if (!isWalked_) {
            if (auto task = DrawFile(lock)) return task;
        } else if (opening_ == 0) {
            isChanged_.notify_all();
            return std::nullopt;
        } else {
            isChanged_.wait(lock);
        }
    }
}

/// The next message of an open mbox that is not done; the lock is held.
std::optional<IndexTask> IndexQueue::DrawFromMbox() {
    while (!mboxes_.empty()) {
        const size_t file = mboxes_.begin()->first;
        OpenMbox& mbox = mboxes_.begin()->second;
        auto entry = mbox.folder.Next();
        if (!entry) {
            records_.CloseFile(file, mbox.count);
            mboxes_.erase(file);
            isChanged_.notify_all();
            continue;
        }
        IndexTask task{file, mbox.count++, mbox.path, {}, {}, {}, false};
        if (*entry) {
            ReleasePassed(mbox, **entry);
            task.entry = std::move(**entry);
        } else {
            task.failure = GetReason(entry->error());
        }
        if (IsDone(task)) {
            records_.Put(task, {});
            continue;
        }
        ++working_;
        return task;
    }
    return std::nullopt;
}

/// Opens the next file. @return nothing when it has no single message to be given.
std::optional<IndexTask> IndexQueue::DrawFile(Lock& lock) {
    const auto file = walk_.Next();
    if (!file) {
        isWalked_ = true;
        return std::nullopt;
    }
    if (IsOutput(file->path)) return std::nullopt;
    IndexTask task{fileCount_++, 0, file->path, file->failure, {}, {}, true};
    if (IsDone(task)) {
        records_.CloseFile(task.file, 0);
        return std::nullopt;
    }
    std::optional<MIME::MailFolder> mbox;
    if (task.failure.empty()) {
        ++opening_;
        lock.unlock();
        OpenFile(task, *file, mbox);
        lock.lock();
        --opening_;
        isChanged_.notify_all();
    }
    if (mbox) {
        mboxes_.emplace(task.file, OpenMbox{task.path, std::move(*mbox)});
        return std::nullopt;
    }
    ++working_;
    return task;
}

/// Without the lock. @param mbox  receives the file when it is one.
void IndexQueue::OpenFile(IndexTask& task, const WalkedFile& file,
                          std::optional<MIME::MailFolder>& mbox) {
    try {
        if (IsStream(file.path)) {
            const Input input = ReadStream(file.path);
            task.text = input.text;
            task.failure = input.failure;
            return;
        }
        auto folder = MIME::MailFolder::Open(ToPath(file.path));
        if (!folder) {
            task.failure = GetReason(folder.error());
        } else if (folder->GetKind() == MIME::MailFolder::Kind::message || file.isMessage) {
            auto entry = folder->Next();
            if (entry && *entry) task.entry = std::move(**entry);
        } else {
            mbox = std::move(*folder);
        }
    } catch (const std::bad_alloc&) {
        task.failure = "not enough memory";
    }
}

bool IndexQueue::IsOutput(const std::string& path) const {
    const std::filesystem::path file = ToPath(path);
    const std::filesystem::path output = ToPath(output_);
    std::error_code ignored;
    return file.filename() == output.filename() && path != "-" &&
           std::filesystem::equivalent(file, output, ignored);
}

bool IndexQueue::IsDone(const IndexTask& task) const {
    return !done_.IsEmpty() && done_.Has(task.path, task.entry ? task.entry->GetOffset() : 0);
}

/// A mapped file counts as memory of the process as long as its pages do. Those that a thread still looks at
/// come back, so they are given back twice: the second time when the thread has long been elsewhere.
void IndexQueue::ReleasePassed(OpenMbox& mbox, const MIME::FolderEntry& entry) {
    constexpr uint64_t kStep = 0x800000;
    const uint64_t offset = entry.GetOffset();
    // Only what is at least this large is mapped.
    if (offset < MemoryFile::kMapSize || offset - mbox.released < kStep) return;
    const size_t size = static_cast<size_t>(offset - mbox.releasedOnce);
    MemoryFile::Release({entry.GetText().data() - size, size});
    mbox.releasedOnce = std::exchange(mbox.released, offset);
}

void IndexQueue::Finish(const IndexTask& task, IndexRecord record) {
    const Lock lock(mutex_);
    --working_;
    records_.Put(task, std::move(record));
    if (task.isOnly) records_.CloseFile(task.file, 1);
    progress_.Add(1, task.entry ? task.entry->GetSize() : 0);
    isChanged_.notify_all();
}

void IndexQueue::Stop(std::exception_ptr why) {
    const Lock lock(mutex_);
    if (stopped_ == nullptr) stopped_ = std::move(why);
    isChanged_.notify_all();
}

void IndexQueue::Check() const {
    if (stopped_ != nullptr) std::rethrow_exception(stopped_);
}

}  // namespace Tool

#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What the programs share that run one MIME library each over the same messages: the command line, the
/// measuring, and the line of JSON.
///
/// usage: PROGRAM FOLDER NAME TASK [TMPDIR [REPS [BUDGET_SECONDS]]]
/// Reads the messages FOLDER/NAME/*.eml. The first round is a warm-up, and deleting files is not timed.
namespace Harness {

[[noreturn]] void Fail(const std::string& what);
std::string ReadWholeFile(const std::filesystem::path& path);

/// Bodies or messages, in files or in memory.
struct Counts {
    size_t files = 0;
    size_t bytes = 0;

    void Add(size_t size) noexcept {
        ++files;
        bytes += size;
    }
};

/// Looks at a byte of every page, so that memory which was never filled does not pass for a body.
void Touch(std::string_view body) noexcept;

/// A header field, unfolded, and what its value is read as.
struct HeaderField {
    enum class Kind { text, addresses, date };
    Kind kind;
    std::string value;
};

/// A new folder that is removed with its content. TMPDIR is set to it meanwhile.
class WorkFolder {
public:
    explicit WorkFolder(const std::filesystem::path& parent);
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder() { std::filesystem::remove_all(path_); }
    const std::filesystem::path& GetPath() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

/// One run of a program. New files belong into the folder.
class Run {
public:
    Run(int argc, char** argv, const char* library, const char* tasks);

    const std::string& GetTask() const noexcept { return task_; }
    const std::vector<std::string>& GetMessages() const noexcept { return messages_; }
    const std::filesystem::path& GetFolder() const noexcept { return folder_.GetPath(); }
    /// A name in the folder for the n-th new file.
    std::string GetFileName(size_t number) const;

    /// Measures and prints. `work` counts the bodies that it makes, unless they are files in the folder.
    void Measure(const std::function<Counts()>& work);
    /// The same with a task for each message.
    void MeasureEach(const std::function<Counts(const std::string& message)>& work);
    /// The same with a task for each of 1,000,000 header fields: those of the messages, each of which is
    /// nothing but fields, a line each, again and again.
    void MeasureFields(const std::function<void(const HeaderField& field)>& work);
    /// Prints the sha256 of all bodies that `work` gives to its argument, untimed.
    void Digest(const std::function<void(const std::function<void(std::string_view)>& use)>& work);
    /// Says that the library does not do the task.
    void Skip() const;

private:
    struct Result;
    void Print(Result result) const;

    std::string library_;
    std::string corpus_;
    std::string task_;
    std::vector<std::string> messages_;
    size_t bytes_ = 0;
    int reps_;
    double budget_;
    WorkFolder folder_;
};

}  // namespace Harness

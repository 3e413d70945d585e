#include "index_resume.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "files.h"
#include "json_text.h"
#include "output.h"

// Every record begins with its version and its id, so lines of any length are read without being kept.

namespace Tool {

namespace {

/// Cuts a text into lines and reads how each begins.
class LineReader {
public:
    explicit LineReader(std::deque<RecordId>& ids)
        : ids_(ids), prefix_("{\"schema\":" + std::to_string(kSchema) + ",\"id\":\"") {}

    /// @return false at a line that is no record.
    bool Take(std::string_view piece) {
        while (!piece.empty()) {
            const size_t end = std::min(piece.find('\n'), piece.size());
            const size_t wanted = prefix_.size() + RecordId::kTextLength - start_.size();
            start_ += piece.substr(0, std::min(end, wanted));
            size_ += end;
            piece.remove_prefix(end);
            if (piece.empty()) return true;
            piece.remove_prefix(1);
            complete_ += size_ + 1;
            size_ = 0;
            if (!TakeLine()) return false;
        }
        return true;
    }

    /// The size of all lines that have an end.
    uint64_t GetComplete() const { return complete_; }

private:
    bool TakeLine() {
        const bool isRecord = start_.starts_with(prefix_);
        const auto id = isRecord ? RecordId::Parse(std::string_view(start_).substr(prefix_.size()))
                                 : std::nullopt;
        start_.clear();
        if (id) ids_.push_back(*id);
        return id.has_value();
    }

    std::deque<RecordId>& ids_;
    const std::string prefix_;
    std::string start_;  ///< of the line that is being read
    uint64_t size_ = 0;  ///< of what was read of it
    uint64_t complete_ = 0;
};

}  // namespace

void DoneRecords::ReadFrom(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::exists(ToPath(path), error)) return;
    LineReader lines(ids_);
    ReadPieces(KivGuiBase::File(MIME::AnsiStr(path)), [&](std::string_view piece) {
        if (!lines.Take(piece)) {
            throw Failure(path, "line " + std::to_string(ids_.size() + 1) +
                                    " is not a record of this version of kivmime index");
        }
    });
    std::filesystem::resize_file(ToPath(path), lines.GetComplete(), error);
    if (error) throw Failure(path, error.message());
    std::sort(ids_.begin(), ids_.end());
}

bool DoneRecords::Has(const std::string& file, uint64_t offset) const {
    return std::binary_search(ids_.begin(), ids_.end(), RecordId::Make(file, offset));
}

}  // namespace Tool

#include "mime/parser/read_state.h"

#include <algorithm>

#include "mime/parser/messages.h"

namespace MIME {

void ReadState::Note(Deviation::keys kind, const char* where) {
    if (report_ == nullptr) return;
    const uint64_t bit = uint64_t{1} << kind;
    const bool isHarmless = Deviation::GetSeverity(kind) == Deviation::Severity::harmless;
    uint64_t& noted = (isHarmless || entities_.empty() ? top_ : entities_.back()).noted;
    if ((noted & bit) != 0) return;
    noted |= bit;
    report_->worst = std::max(report_->worst, Deviation::GetSeverity(kind));
    const auto offset = static_cast<unsigned long long>(where - text_);
    if (report_->deviations.GetCount() >= ReadReport::kMaxEntries ||
        !report_->deviations.Add({kind, offset, MakePath()})) {
        ++report_->omitted;
    }
}

void ReadState::NoteFailure() noexcept {
    if (report_ == nullptr) return;
    report_->failed = true;
    report_->failureOffset = static_cast<unsigned long long>(cursor.GetNext() - text_);
    report_->failurePath = MakePath();
}

void ReadState::EnterEntity(unsigned number) {
    entities_.push_back({number});
}

AnsiStr ReadState::MakePath() const noexcept {
    AnsiStr path;
    for (const Entity& entity : entities_) {
        if (!path.IsEmpty()) path.Append('.', KivGuiBase::Growth::spare);
        path.Append(KivGuiBase::FmtArgs("%u", entity.number), KivGuiBase::Growth::spare);
    }
    return path;
}

bool ReadState::CountPart() noexcept {
    if (options.maxParts != 0 && parts_ >= options.maxParts) {
        return Fail(Messages::LimitReached("entities", options.maxParts));
    }
    ++parts_;
    return true;
}

bool ReadState::CheckDepth(size_t levels) noexcept {
    if (options.maxDepth == 0 || levels < options.maxDepth) return true;
    return Fail(Messages::LimitReached("levels of entities", options.maxDepth));
}

bool ReadState::CountDecoded(unsigned long long size) noexcept {
    if (options.maxDecodedBytes != 0 && size > options.maxDecodedBytes - decoded_) return false;
    decoded_ += size;
    return true;
}

void ReadState::KeepInMind(const File& file) {
    if (options.removeFilesOnFailure) files_.push_back(file);
}

void ReadState::RemoveFiles() noexcept {
    for (const File& file : files_) file.Remove(false);
    files_.clear();
}

}  // namespace MIME

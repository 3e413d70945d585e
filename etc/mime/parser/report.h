#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "mime/read_options.h"

namespace MIME {

/// Fills a ReadReport: what was tolerated, in which entity, and where reading failed. Without one it
/// keeps nothing.
class Report {
public:
    /// @param target  null, or the report to fill.
    /// @param text    the start of the whole text; places point into it.
    Report(ReadReport* target, const char* text) noexcept : target_(target), text_(text) {}

    bool IsWanted() const noexcept { return target_ != nullptr; }

    /// Reports what was tolerated at `where`: the first of its kind in an entity, or in the whole
    /// text when the kind is harmless.
    void Note(Deviation::keys kind, const char* where);
    /// Until this is called with null, reading is in a text that was decoded; places in it are
    /// reported as `place`, in the whole text.
    void SetStandIn(const char* place) noexcept { standIn_ = place; }
    uint64_t GetOffset(const char* where) const noexcept {
        return static_cast<uint64_t>((standIn_ != nullptr ? standIn_ : where) - text_);
    }

    /// Reading failed at `where`, in the current entity.
    void NoteFailure(const char* where) noexcept;

    /// The current entity is child `number`, from 1, of the one before, until LeaveEntity.
    void EnterEntity(unsigned number) {
        if (target_ != nullptr) Push(number);
    }
    void LeaveEntity() noexcept {
        if (target_ != nullptr) Pop();
    }

private:
    void Push(unsigned number);
    void Pop() noexcept;
    AnsiStr MakePath() const noexcept;

    struct Entity {
        unsigned number;
        uint64_t noted = 0;  ///< a bit for each kind of deviation that is in the report
    };

    ReadReport* target_;
    const char* text_;
    const char* standIn_ = nullptr;
    std::vector<Entity> entities_;  ///< from the top's child down to the current entity
    Entity top_{0};
    // A path is as long as the entity is deep, so what all paths may take is limited too.
    size_t pathLength_ = 0;  ///< of the current entity's path, one more at most
    size_t pathText_ = 0;    ///< of the paths in the report
};

}  // namespace MIME

/// What the reader puts into its error text. Each function and constant is one message.
namespace MIME::Messages {

inline constexpr std::string_view kBoundaryMissing = "boundary missing";
inline constexpr std::string_view kNulInText = "eos in text";
inline constexpr std::string_view kTextBoundaryMissing = "text boundary is missing";
inline constexpr std::string_view kDataBoundaryMissing = "data boundary is missing";
/// A line, or base64 text that belongs together, of 4 GiB or more.
inline constexpr std::string_view kLineTooLong = "line too long";

KivGuiBase::AnsiStr UnexpectedHeaderLine(std::string_view line) noexcept;
KivGuiBase::AnsiStr UnsupportedTransferEncoding(std::string_view name) noexcept;
KivGuiBase::AnsiStr InvalidContentLength(std::string_view value) noexcept;
KivGuiBase::AnsiStr ContentLengthExceedsData(uint64_t length, uint64_t left) noexcept;
KivGuiBase::AnsiStr UnexpectedData(std::string_view encoding, std::string_view text) noexcept;
/// A limit of ReadOptions: "limit reached: more than 5 levels of entities".
KivGuiBase::AnsiStr LimitReached(std::string_view what, unsigned long long limit) noexcept;
/// Names the reason that the last error gives.
KivGuiBase::AnsiStr WriteFailed() noexcept;

}  // namespace MIME::Messages

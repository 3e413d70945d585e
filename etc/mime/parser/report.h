#pragma once

#include <vector>

#include "mime/read_options.h"

namespace MIME {

/// Fills a ReadReport: what was tolerated, in which entity, and where reading failed. Without one it
/// keeps the path of the current entity and nothing else.
class Report {
public:
    /// @param target  null, or the report to fill.
    /// @param text    the start of the whole text; places point into it.
    Report(ReadReport* target, const char* text) noexcept : target_(target), text_(text) {}

    bool IsWanted() const noexcept { return target_ != nullptr; }

    /// Reports what was tolerated at `where`: the first of its kind in an entity, or in the whole
    /// text when the kind is harmless.
    void Note(Deviation::keys kind, const char* where);
    /// Reading failed at `where`, in the current entity.
    void NoteFailure(const char* where) noexcept;

    /// The current entity is child `number`, from 1, of the one before, until LeaveEntity.
    void EnterEntity(unsigned number);
    void LeaveEntity() noexcept;

private:
    AnsiStr MakePath() const noexcept;

    struct Entity {
        unsigned number;
        uint64_t noted = 0;  ///< a bit for each kind of deviation that is in the report
    };

    ReadReport* target_;
    const char* text_;
    std::vector<Entity> entities_;  ///< from the top's child down to the current entity
    Entity top_{0};
    // A path is as long as the entity is deep, so what all paths may take is limited too.
    size_t pathLength_ = 0;  ///< of the current entity's path, one more at most
    size_t pathText_ = 0;    ///< of the paths in the report
};

}  // namespace MIME

#pragma once

#include "kivgui/disk_file.h"
#include "kivgui/export.h"
#include "kivgui/file.h"

namespace KivGuiBase {

/// A file that is written under a name of its own, beside its target, and takes the target's name
/// when it is complete: nobody ever sees a part of it there, and after a failure the target is as it
/// was. Open, Write, Commit; without Commit the new file is removed. One thread at a time.
///
/// Until then only its owner can read it. Then a file that replaces another has that one's owner and
/// permissions, as far as this user may give them, and a new one those that the user's settings give.
/// A link stays a link, and what it leads to is replaced. Whether a file may be replaced is decided by
/// the permissions of its folder. A device, a pipe or a socket is written to directly.
///
/// Failure is false with the last error set. A process that is killed leaves the new file, whose name
/// begins with ".kivmime-" and ends in ".part".
class KIV_EXPORT ReplacedFile {
public:
    ReplacedFile() noexcept = default;
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;
    ~ReplacedFile();

    /// Once for each object.
    bool Open(const File& target) noexcept;
    /// The file that is being written; none (IsEmpty) for a device, and when it has the target's name.
    const File& GetNewFile() const noexcept { return new_; }
    /// Writes all `size` bytes. An error may be reported only by a later Write or by Commit.
    bool Write(const void* data, size_t size) noexcept;
    /// Puts what was written on the disk and gives it the target's name.
    bool Commit() noexcept;

private:
    bool TakePermissions() noexcept;

    DiskFile file_;
    AnsiStr folder_;
    AnsiStr target_;  ///< links followed
    File new_;  ///< empty when there is nothing to remove: not yet, no longer, or for a device
};

}  // namespace KivGuiBase

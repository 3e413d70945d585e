#pragma once

#include "kivgui/disk_file.h"
#include "kivgui/export.h"
#include "kivgui/file.h"

namespace KivGuiBase {

/// A file that is written under another name, in the folder of its target, and takes the target's
/// name when it is complete: nobody ever sees an incomplete file there, and after a failure the
/// target is unchanged. Call Open, Write and Commit; without Commit the new file is removed. One
/// thread at a time.
///
/// Until Commit, only its owner can read it. A file that replaces another then gets the owner and
/// permissions of the old file, as far as this user may set them; a new file gets those of the
/// user's settings. A link stays a link, and its target is replaced. The permissions of the folder
/// decide whether a file may be replaced. A device, a pipe or a socket is written to directly.
///
/// Failure is false with the last error set. A process that is killed leaves the new file, whose name
/// begins with ".kivmime-" and ends in ".part".
class KIV_EXPORT ReplacedFile {
public:
    ReplacedFile() noexcept = default;
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;
    ~ReplacedFile();

    /// Call it once for each object.
    bool Open(const File& target) noexcept;
    /// The file that is being written; empty (IsEmpty) for a device, and once it has the target's
    /// name.
    const File& GetNewFile() const noexcept { return new_; }
    /// Writes all `size` bytes. An error may be reported only by a later Write or by Commit.
    bool Write(const void* data, size_t size) noexcept;
    /// Writes the file to the disk and gives it the target's name.
    bool Commit() noexcept;

private:
    bool TakePermissions() noexcept;

    DiskFile file_;
    AnsiStr folder_;
    AnsiStr target_;  ///< links followed
    File new_;  ///< empty when there is nothing to remove: not yet, no longer, or for a device
};

}  // namespace KivGuiBase

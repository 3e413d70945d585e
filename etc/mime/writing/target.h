#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "mime/mail/mail.h"
#include "mime/writing/body_source.h"

/// Where a message is written to. `write` passes it on in pieces; a WriteFailure that it throws is
/// what these return.
namespace MIME {

using Writing = std::function<void(const Take&)>;

/// A file, which is written beside its name and gets it when it is complete: after a failure, and
/// until the end, what was there is unchanged. Permissions of a file that is replaced are kept; a
/// link is followed. A pipe or a device is written to directly.
Result<void> SaveTo(const std::filesystem::path& path, const Writing& write);

/// The host's sink; refused when it says so.
Result<void> PassTo(const Sink& sink, const Writing& write);

Result<std::string> Collect(const Writing& write);

}  // namespace MIME

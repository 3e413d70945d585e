#pragma once

#include <string>
#include <string_view>

#include <mime/mail.h>

#include "files.h"
#include "message.h"
#include "output.h"
#include "pass_phrase.h"

/// What the commands share that write mail.
namespace Tool {

/// Passes on what a Composer or an Edit writes. What `take` throws passes through.
template <class Writer>
auto PassOn(Writer& writer, const TakePiece& take) {
    return writer.WriteTo([&take](std::string_view piece) {
        take(piece);
        return true;
    });
}

/// @param signer  who was to sign it.
/// @param shown  what the user calls the message. @throws Failure, unless it was written.
template <class Value>
void CheckWritten(const MIME::Result<Value>& written, const std::string& shown,
                  const Signer& signer = {}) {
    if (written) return;
    const MIME::Error& error = written.error();
    // Errors of files name the file.
    if (error.GetSystemCode() != 0) throw Failure(ExplainError(error, signer));
    const std::string& path = error.GetEntityPath();
    throw Failure(path.empty() ? shown : shown + ": part " + MakeIndex(path), error.GetText());
}

}  // namespace Tool

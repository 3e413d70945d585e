#include <string>

#include "commands.h"
#include "escape.h"
#include "failure.h"
#include "file_pieces.h"
#include "output.h"
#include "target.h"

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;
using MIME::AnsiStr;

namespace {

/// Writes the message; `contentType` as for Part::Write. `shown` is what the user calls the file.
void Write(MIME::Part& message, const std::string& path, AnsiStr* contentType,
           const std::string& shown) {
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    if (!message.Write(File(AnsiStr(path)), contentType)) throw Failure(shown, GetLastReason());
}

void WriteToFile(MIME::Part& message, const std::string& target, AnsiStr* contentType) {
    ReplaceFile(target,
                [&](const std::string& path) { Write(message, path, contentType, target); });
}

/// A pipe or a device cannot be replaced: it gets the message when that is complete.
void WriteToStream(MIME::Part& message, const std::string& target, AnsiStr* contentType,
                   const WorkFolder& folder) {
    const std::string path = folder.At("output");
    Write(message, path, contentType, path);
    DiskFile stream;
    const bool isOutput = target == "-";
    bool written = isOutput || stream.Open(File(AnsiStr(target)), DiskFile::Mode::create);
    ReadPieces(File(AnsiStr(path)), [&](std::string_view piece) {
        if (isOutput) {
            Print(piece);
        } else {
            written = written && stream.Write(piece.data(), static_cast<unsigned>(piece.size()));
        }
    });
    if (!written || !stream.Close()) throw Failure(target, GetLastReason());
}

}  // namespace

int Rewrite(const RewriteOptions& options) {
    const WorkFolder folder;
    const std::unique_ptr<MIME::Part> message = ReadMessage(options.source, folder);
    AnsiStr contentType;
    AnsiStr* const contentTypeOut = options.bodyOnly ? &contentType : nullptr;
    if (IsStream(options.target)) {
        WriteToStream(*message, options.target, contentTypeOut, folder);
    } else {
        WriteToFile(*message, options.target, contentTypeOut);
    }
    if (options.bodyOnly) Print(Escape(contentType) + "\n");
    FinishOutput();
    return 0;
}

}  // namespace Tool

#include <algorithm>
#include <functional>
#include <optional>
#include <string>

#include "commands.h"
#include "entity_list.h"
#include "escape.h"
#include "files.h"
#include "kivgui/ascii.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "message_writer.h"
#include "output.h"

// "rewrite". With the mail rules the header blocks are written as they were and only bodies are
// encoded anew; the result is read back and compared before it replaces anything. With the exact
// rules the library writes the tree itself.

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;
using MIME::AnsiStr;

namespace {

/// Writes the message to the path; `shown` is what the user calls the file.
using Write = std::function<void(const std::string& path, const std::string& shown)>;

/// A pipe or a device cannot be replaced, so the message is made in the work folder first.
void WriteToStream(const Write& write, const std::string& target, const WorkFolder& folder) {
    const std::string path = folder.At("output");
    write(path, path);
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

void WriteTo(const std::string& target, const WorkFolder& folder, const Write& write) {
    if (IsStream(target)) return WriteToStream(write, target, folder);
    ReplaceFile(target, [&](const std::string& path) { write(path, target); });
}

/// The value of the first Content-Type field, which is the one that counts, on one line.
std::string GetContentType(const MIME::Part& message) {
    for (unsigned i = 0; i < message.fields.GetCount(); ++i) {
        const MIME::FieldList::Field field = message.fields[i];
        if (!KivGuiBase::EqualsCaseless(field.name, "Content-Type")) continue;
        std::string value(field.value);
        std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
        std::replace(value.begin(), value.end(), '\t', ' ');
        return value;
    }
    return {};
}

/// Refuses an encoded body: without the header block nothing says how it is encoded.
void CheckHasPlainBody(const MIME::Part& message, const std::string& shown) {
    const MIME::TransferEncoding::keys encoding = message.info.transferEncoding;
    const bool isLeaf = Entity{&message, Entity::kNoParent, 0}.IsLeaf();
    if (!isLeaf || MIME::TransferEncoding::IsIdentity(encoding)) return;
    throw Failure(shown, "the body is " + ToString(MIME::TransferEncoding::GetStr(encoding)) +
                             ", and --body leaves out the field that says so");
}

/// Reads back what was written and compares, so that nothing is lost unnoticed.
void CheckWritten(const MIME::Part& message, const Source& written, const WorkFolder& folder,
                  const std::string& shown) {
    const std::unique_ptr<MIME::Part> again = ReadMessage(written, folder);
    if (!IsSameMessage(message, *again, !written.contentType)) {
        throw Failure(shown, "cannot be written so that it reads the same");
    }
}

/// @return what --body prints.
std::string RewriteMail(const MIME::Part& message, const RewriteOptions& options,
                        const WorkFolder& folder) {
    const std::string source = GetShownName(options.source.file);
    std::optional<std::string> contentType;
    if (options.bodyOnly) {
        CheckHasPlainBody(message, source);
        contentType = GetContentType(message);
    }
    WriteTo(options.target, folder, [&](const std::string& path, const std::string& shown) {
        WriteMessage(message, path, shown, !options.bodyOnly);
        CheckWritten(message, {path, contentType}, folder, source);
    });
    return contentType.value_or("");
}

std::string RewriteStrict(MIME::Part& message, const RewriteOptions& options,
                          const WorkFolder& folder) {
    AnsiStr contentType;
    WriteTo(options.target, folder, [&](const std::string& path, const std::string& shown) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
        if (!message.Write(File(AnsiStr(path)), options.bodyOnly ? &contentType : nullptr)) {
            throw Failure(shown, GetLastReason());
        }
    });
    return ToString(contentType);
}

}  // namespace

int Rewrite(const RewriteOptions& options) {
    const WorkFolder folder;
    const std::unique_ptr<MIME::Part> message = ReadMessage(options.source, folder);
    const std::string contentType = options.source.strict ? RewriteStrict(*message, options, folder)
                                                          : RewriteMail(*message, options, folder);
    if (options.bodyOnly) Print(Escape(contentType) + "\n");
    FinishOutput();
    return 0;
}

}  // namespace Tool

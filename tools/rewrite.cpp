#include <filesystem>
#include <string>
#include <system_error>

#include "commands.h"
#include "escape.h"
#include "failure.h"
#include "file_pieces.h"
#include "leftovers.h"
#include "output.h"

namespace Tool {

namespace fs = std::filesystem;
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

/// Replaces a plain file by a new one that is complete before it takes the name.
class Replacement {
public:
    explicit Replacement(const std::string& target) : shown_(target), target_(target) {
        std::error_code error;
        // A link stays, and the file that it leads to is replaced.
        if (fs::exists(target_, error)) target_ = fs::canonical(target_, error);
        if (error) throw Failure(shown_, error.message());
        part_ = (target_.parent_path() / MakeName()).string();
        // The name is new, so nothing can be there yet that is not ours.
        Leftovers::Add([this] { return part_; });
    }

    const std::string& GetPath() const { return part_; }

    void Commit() {
        std::error_code error;
        const fs::file_status old = fs::status(target_, error);
        if (fs::exists(old)) fs::permissions(part_, old.permissions(), error);
        fs::rename(part_, target_, error);
        if (error) throw Failure(shown_, error.message());
        Leftovers::Keep(part_);
    }

private:
    /// Something that nobody can predict, so that nobody can put a link there first.
    static std::string MakeName() {
        unsigned char random[8];
        KivGuiBase::GetUnpredictableBytes(random, sizeof random);
        const AnsiStr digits = KivGuiBase::Binary2B16Str(random, sizeof random, 0, "");
        return ".kivmime-" + std::string(std::string_view(digits)) + ".part";
    }

    std::string shown_;
    fs::path target_;
    std::string part_;
};

void WriteToFile(MIME::Part& message, const std::string& target, AnsiStr* contentType) {
    Replacement replacement(target);
    Write(message, replacement.GetPath(), contentType, target);
    replacement.Commit();
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

bool IsStream(const std::string& target) {
    std::error_code ignored;
    return target == "-" || fs::is_other(fs::status(target, ignored));
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

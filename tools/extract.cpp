#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>

#include "commands.h"
#include "escape.h"
#include "files.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/file.h"
#include "message.h"
#include "output.h"
#include "temporary.h"

// "extract". The names come from strangers, so each is made safe first, and no file is ever opened
// that existed before: a link that waits in the folder is never followed. Files that are not complete
// when the command fails are removed.

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;

namespace {

/// A file name for a body: the sender's, or one made of the index and the type. It is safe, and
/// leaves room for a number.
std::string MakeName(const Message& message, size_t entity) {
    constexpr unsigned kMaxName = 240;
    std::string name = message.GetFileName(entity);
    if (name.empty()) {
        MIME::AnsiStr extension = "bin";
        const std::optional<MIME::Entity> mail = message.GetEntity(entity);
        const MIME::AnsiStr type{mail ? mail->GetMediaType()
                                      : message.GetValue(entity, "Content-Type")};
        if (message.CarriesMessage(entity)) {
            extension = "eml";
        } else if (!MIME::GetExtFromTypeStr(type, extension)) {
            extension = "bin";
        }
        name = "part-" + message.GetOutline()[entity].index + "." + ToString(extension);
    }
    return ToString(KivGuiBase::MakeSafeFileName(MIME::AnsiStr(name), kMaxName));
}

/// The same name with a number before its extension; 1 means none.
std::string AddNumber(const std::string& name, unsigned number) {
    if (number == 1) return name;
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) dot = name.size();
    return name.substr(0, dot) + "-" + std::to_string(number) + name.substr(dot);
}

/// Makes files in one folder, each under a name that nothing had before.
class Extraction {
public:
    explicit Extraction(std::string folder) : folder_(std::move(folder)) {}

    /// Writes a body and returns the path of the file.
    std::string Store(const Message& message, size_t entity) {
        DiskFile out;
        std::string path = Create(out, MakeName(message, entity));
        message.Decode(entity, [&](std::string_view piece) {
            if (!out.Write(piece.data(), static_cast<unsigned>(piece.size()))) {
                throw Failure(path, GetLastReason());
            }
        });
        Leftovers::Keep(path, [&] {
            if (!out.Close()) throw Failure(path, GetLastReason());
        });
        return path;
    }

private:
    /// Creates the file. When the name is taken, even by a link, a number is added, starting after
    /// the last one tried for this name.
    std::string Create(DiskFile& out, const std::string& name) {
        std::string path;
        unsigned& number = used_[name];
        Leftovers::Add([&] {
            bool created = false;
            while (!created) {
                path = folder_ + "/" + AddNumber(name, ++number);
                created = out.Open(File(MIME::AnsiStr(path)), DiskFile::Mode::createNew);
                if (!created && KivGuiBase::GetLastError() != KivGuiBase::kErrorFileExists) {
                    throw Failure(path, GetLastReason());
                }
            }
            return path;
        });
        return path;
    }

    std::string folder_;
    std::unordered_map<std::string, unsigned> used_;  ///< highest number tried, by name
};

void MakeFolder(const std::string& folder) {
    std::error_code error;
    std::filesystem::create_directories(ToPath(folder), error);
    if (error) throw Failure(folder, error.message());
}

size_t FindPart(const Message& message, const Input& input, const ExtractOptions& options) {
    const std::optional<size_t> found = message.GetOutline().Find(options.part);
    if (!found) throw InputFailure(input.name, "no part " + options.part);
    return *found;
}

/// Writes the bodies of the entity and of all below it, and prints where they are.
void ExtractAll(const Message& message, size_t first, Extraction& extraction) {
    const Outline& outline = message.GetOutline();
    constexpr unsigned kNone = static_cast<unsigned>(-1);
    unsigned messageDepth = kNone;  // of the message that was written last, while inside it
    for (size_t i = first; i < outline.GetCount(); ++i) {
        const unsigned depth = outline[i].depth;
        if (i != first && depth <= outline[first].depth) break;
        if (depth <= messageDepth) messageDepth = kNone;
        if (message.HasChildren(i)) {
            // Messages inside it are part of its file. Writing each of them too would take space
            // quadratic in the depth.
            if (!message.CarriesMessage(i) || messageDepth != kNone) continue;
            messageDepth = depth;
        }
        const std::string path = extraction.Store(message, i);
        Print(outline[i].index + "  " + Escape(path) + "\n");
    }
}

int ExtractIntoFolder(const ExtractOptions& options) {
    MakeFolder(options.folder);
    Extraction extraction(options.folder);
    Headings headings;
    return ForEachInput(options.sources, Inputs::Quoting::removed, [&](const Input& input) {
        const std::unique_ptr<Message> message = Message::Read(input, options.sources);
        const size_t first = FindPart(*message, input, options);
        headings.Print(input);
        ExtractAll(*message, first, extraction);
    });
}

int ExtractOne(const ExtractOptions& options) {
    return ForEachInput(options.sources, Inputs::Quoting::removed, [&](const Input& input) {
        if (!input.isAlone) throw Failure(input.name, "only one message fits into one output");
        const std::unique_ptr<Message> message = Message::Read(input, options.sources);
        const size_t entity = FindPart(*message, input, options);
        if (message->HasChildren(entity) && !message->CarriesMessage(entity)) {
            throw InputFailure(input.name, "part " + options.part + " has no body of its own");
        }
        WritePieces(options.target, [&](const TakePiece& take) { message->Decode(entity, take); });
    });
}

}  // namespace

int Extract(const ExtractOptions& options) {
    Leftovers::RemoveOnInterrupt();
    return options.target.empty() ? ExtractIntoFolder(options) : ExtractOne(options);
}

}  // namespace Tool

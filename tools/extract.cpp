#include <filesystem>
#include <span>
#include <string>
#include <system_error>
#include <unordered_map>

#include "commands.h"
#include "entity_list.h"
#include "escape.h"
#include "files.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/file.h"
#include "message_writer.h"
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
std::string MakeName(const Entity& entity) {
    constexpr unsigned kMaxName = 240;
    std::string name = ToString(GetFileName(*entity.part));
    if (name.empty()) {
        MIME::AnsiStr extension = "bin";
        if (entity.part->info.isMessage) {
            extension = "eml";
        } else if (!MIME::GetExtFromTypeStr(MIME::AnsiStr(GetMediaType(*entity.part)), extension)) {
            extension = "bin";
        }
        name = "part-" + entity.index + "." + ToString(extension);
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

    /// Copies a body and returns the path of the copy.
    std::string Store(const File& body, const std::string& name) {
        DiskFile out;
        std::string path = Create(out, name);
        ReadPieces(body, [&](std::string_view piece) {
            if (!out.Write(piece.data(), static_cast<unsigned>(piece.size()))) {
                throw Failure(path, GetLastReason());
            }
        });
        if (!out.Close()) throw Failure(path, GetLastReason());
        Leftovers::Keep(path);
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

constexpr unsigned kNone = static_cast<unsigned>(-1);

/// Returns true if the entity carries a whole message.
bool CarriesMessage(const Entity& entity) {
    return entity.part->info.isMessage && !entity.part->parts.IsEmpty();
}

File MakeMessageFile(const Entity& entity, const WorkFolder& folder) {
    const std::string path = folder.At("attached");
    WriteMessage(*entity.part->parts[0], path, path, true);
    return File(MIME::AnsiStr(path));
}

}  // namespace

int Extract(const ExtractOptions& options) {
    const WorkFolder folder;
    const std::unique_ptr<MIME::Part> message = ReadMessage(options.source, folder);
    const std::vector<Entity> entities = ListEntities(*message);
    const std::span<const Entity> chosen = FindSubtree(entities, options.part);
    if (chosen.empty()) throw Failure(options.source.file, "no part " + options.part);

    MakeFolder(options.folder);
    Extraction extraction(options.folder);
    unsigned messageDepth = kNone;  // of the message that was written last, while inside it
    for (const Entity& entity : chosen) {
        if (entity.depth <= messageDepth) messageDepth = kNone;
        std::string path;
        if (entity.IsLeaf()) {
            path = extraction.Store(entity.part->data.file, MakeName(entity));
        } else if (CarriesMessage(entity) && messageDepth == kNone) {
            // Messages inside it are part of its file. Writing each of them too would take space
            // quadratic in the depth.
            messageDepth = entity.depth;
            path = extraction.Store(MakeMessageFile(entity, folder), MakeName(entity));
        } else {
            continue;
        }
        Print(entity.index + "  " + Escape(path) + "\n");
    }
    FinishOutput();
    return 0;
}

}  // namespace Tool

#include "mime/mail.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "kivgui/ascii.h"
#include "mime/mime.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

namespace fs = std::filesystem;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::ToPath;

std::string ToString(std::string_view text) {
    return std::string(text);
}

/// All that both trees say of an entity. `type` in lower case; names without charset as mail.h gives
/// them.
struct Seen {
    std::string type, name, id, header, body;
    bool isEmpty = false;  ///< a multipart whose boundary lines hold nothing
    std::vector<Seen> children;
};

Seen Look(const Part& part) {
    Seen seen;
    seen.type = ToString(part.info.contentType.GetStr());
    std::transform(seen.type.begin(), seen.type.end(), seen.type.begin(), KivGuiBase::ToLowerAscii);
    AnsiStr name = part.headers.GetParameter("Content-Disposition", "filename");
    if (name.IsEmpty()) name = part.headers.GetParameter("Content-Type", "name");
    seen.name = DecodeRawHeader(name);
    seen.header = ToString(part.fields.GetText());
    seen.isEmpty = !part.info.boundary.IsEmpty() && part.parts.IsEmpty();
    if (part.parts.IsEmpty()) {
        seen.body = ToString(part.data.content);
        return seen;
    }
    for (const Part* child : part.parts) seen.children.push_back(Look(*child));
    return seen;
}

Seen Look(const Entity& entity) {
    Seen seen;
    seen.type = entity.GetMediaType();
    seen.name = entity.GetFileName();
    seen.header = ToString(entity.GetRawHeader());
    seen.id = entity.GetContentId();
    if (!entity.HasChildren()) {
        seen.body = entity.Decode();
        return seen;
    }
    for (const Entity& child : entity.GetChildren()) seen.children.push_back(Look(child));
    // The tree of parts has the roots first.
    const std::string start = entity.GetParameter("Content-Type", "start");
    if (!start.empty()) {
        std::stable_partition(seen.children.begin(), seen.children.end(),
                              [&](const Seen& child) { return "<" + child.id + ">" == start; });
    }
    return seen;
}

void ExpectSame(const Seen& entity, const Seen& part, const std::string& where) {
    EXPECT_EQ(entity.type, part.type) << where;
    EXPECT_EQ(entity.name, part.name) << where;
    // There, an mbox line is part of the text of the fields, and so is the line end before a boundary
    // line that cuts them off.
    EXPECT_NE(part.header.find(entity.header), std::string::npos) << where;
    EXPECT_TRUE(entity.body == part.body || part.isEmpty)
        << where << ": bodies of " << entity.body.size() << " and " << part.body.size() << " bytes";
    ASSERT_EQ(entity.children.size(), part.children.size()) << where;
    for (size_t i = 0; i < part.children.size(); ++i) {
        ExpectSame(entity.children[i], part.children[i], where + "." + std::to_string(i + 1));
    }
}

std::vector<fs::path> FindMessages() {
    std::vector<fs::path> folders = {fs::path(MIME_TEST_DATA_DIR) / "mail"};
    if (const char* more = std::getenv("KIVMIME_CORPUS")) folders.emplace_back(more);
    std::vector<fs::path> messages;
    for (const fs::path& folder : folders) {
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            const bool isText = entry.path().extension() != ".tree";
            if (entry.is_regular_file() && isText) messages.push_back(entry.path());
        }
    }
    std::sort(messages.begin(), messages.end());
    return messages;
}

TEST(MailTest, HasTheTreeOfPartsAndTheirPlaces) {
    const TempFolder folder;
    ReadOptions options = ReadOptions::Mail();
    options.bodies = Bodies::memory;
    options.memoryLimit = 0xFFFFFFFF;
    for (const fs::path& path : FindMessages()) {
        const std::string text = ReadWholeFile(path.string());
        Part part;
        AnsiStr error;
        const bool isRead = part.Read(text.data(), text.size(), error, options);
        const Result<Mail> mail = Mail::Open(path);
        ASSERT_EQ(static_cast<bool>(mail), isRead) << path;
        if (!mail) continue;
        ExpectSame(Look(mail->GetTop()), Look(part), path.string());
        for (const Entity& entity : mail->GetEntities()) {
            const std::optional<Entity> parent = entity.GetParent();
            if (!parent) continue;
            const Range own = entity.GetRange();
            const Range around = parent->GetBodyRange();
            EXPECT_GE(own.offset, around.offset) << path << ' ' << entity.GetPath();
            EXPECT_LE(own.offset + own.size, around.offset + around.size)
                << path << ' ' << entity.GetPath();
            EXPECT_TRUE(mail->FindByPath(entity.GetPath()) == entity) << path;
        }
    }
    EXPECT_TRUE(folder.List().empty()) << "reading makes no file";
}

}  // namespace
}  // namespace MIME

// Whole messages: data/FOLDER/NAME.eml is read, and what comes of it must be NAME.tree; those in
// data/mail by the mail rules, with the report after the tree, all others by the exact rules. A body
// whose type is kept apart has the value of its Content-Type field in NAME.type.
//
// When a tree differs the new one is written into the build tree; a copy of it beside the message
// makes it the expected one. A new message needs no more than that.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "mime/mime.h"
#include "support/bytes.h"
#include "support/temp_folder.h"
#include "support/tree_dump.h"

namespace MIME {
namespace {

namespace fs = std::filesystem;
using Test::Dump;
using Test::Escape;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

const fs::path kData = MIME_TEST_DATA_DIR;

/// The messages by the exact rules, or those by the mail rules.
std::vector<fs::path> FindMessages(bool isMail) {
    std::vector<fs::path> messages;
    for (const auto& entry : fs::recursive_directory_iterator(kData)) {
        const fs::path& path = entry.path();
        const bool isInMail = path.parent_path() == kData / "mail";
        if (path.extension() == ".eml" && isInMail == isMail) messages.push_back(path);
    }
    EXPECT_FALSE(messages.empty()) << "in " << kData;
    std::sort(messages.begin(), messages.end());
    return messages;
}

std::string ReadIfThere(const fs::path& path) {
    return fs::exists(path) ? ReadWholeFile(path.string()) : std::string();
}

std::string DumpOutcome(bool read, const AnsiStr& error, const Part& part) {
    return (read ? "read" : "failed: \"" + Escape(error) + "\"") + "\n" + Dump(part);
}

std::string ReadExactly(fs::path message, bool withOptions) {
    const std::string text = ReadWholeFile(message.string());
    const std::string type = ReadIfThere(message.replace_extension(".type"));
    const char* const contentType = type.empty() ? nullptr : type.c_str();
    Part part;
    AnsiStr error;
    // A fresh set of options must change nothing.
    const bool read = withOptions ? part.Read(text.data(), text.size(), error, ReadOptions(),
                                              nullptr, contentType)
                                  : part.Read(text.data(), text.size(), error, contentType);
    return DumpOutcome(read, error, part);
}

std::string ReadAsMail(const fs::path& message) {
    ReadOptions options = ReadOptions::Mail();
    options.bodies = Bodies::memory;
    const std::string text = ReadWholeFile(message.string());
    Part part;
    AnsiStr error;
    ReadReport report;
    const bool read = part.Read(text.data(), text.size(), error, options, &report);
    return DumpOutcome(read, error, part) + Dump(report);
}

void ExpectTree(const fs::path& message, const std::string& got) {
    fs::path wanted = message;
    wanted.replace_extension(".tree");
    if (got == ReadIfThere(wanted)) return;
    const fs::path output = fs::path(MIME_TEST_OUTPUT_DIR) / fs::relative(wanted, kData);
    fs::create_directories(output.parent_path());
    WriteWholeFile(output.string(), got);
    ADD_FAILURE() << wanted.string() << " differs from " << output.string();
}

TEST(GoldenTest, MessagesGiveTheirTreesByTheExactRules) {
    const TempFolder folder;
    for (const fs::path& message : FindMessages(false)) {
        const std::string got = ReadExactly(message, false);
        EXPECT_EQ(ReadExactly(message, true), got) << message;
        ExpectTree(message, got);
    }
}

TEST(GoldenTest, MailGivesItsTreesAndReports) {
    const TempFolder folder;
    for (const fs::path& message : FindMessages(true)) ExpectTree(message, ReadAsMail(message));
    EXPECT_TRUE(folder.List().empty()) << "bodies are in memory";
}

}  // namespace
}  // namespace MIME

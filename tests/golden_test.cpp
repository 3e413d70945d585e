// Whole messages: data/FOLDER/NAME.eml is read, and what comes of it must be NAME.tree. Beside a
// body whose type travelled apart stands NAME.type with the value of its Content-Type field.
//
// When a tree differs the new one is written into the build tree; a copy of it beside the message
// makes it the one to come.

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
using Test::ToPlain;
using Test::WriteWholeFile;

std::vector<fs::path> FindMessages() {
    std::vector<fs::path> messages;
    for (const auto& entry : fs::recursive_directory_iterator(MIME_TEST_DATA_DIR)) {
        if (entry.path().extension() == ".eml") messages.push_back(entry.path());
    }
    std::sort(messages.begin(), messages.end());
    return messages;
}

std::string ReadIfThere(const fs::path& path) {
    return fs::exists(path) ? ReadWholeFile(path.string()) : std::string();
}

std::string DumpReading(fs::path message, bool withOptions) {
    const std::string text = ReadWholeFile(message.string());
    const fs::path typePath = message.replace_extension(".type");
    const std::string type = ReadIfThere(typePath);
    Part part;
    AnsiStr error;
    // A fresh set of options must change nothing.
    const bool read = fs::exists(typePath)
                          ? part.Read(text.data(), text.size(), error, type.c_str())
                      : withOptions ? part.Read(text.data(), text.size(), error, ReadOptions())
                                    : part.Read(text.data(), text.size(), error);
    const std::string outcome = read ? "read" : "failed: \"" + Escape(error) + "\"";
    return outcome + "\n" + Dump(ToPlain(part));
}

TEST(GoldenTest, MessagesGiveTheirTrees) {
    const TempFolder folder;
    const std::vector<fs::path> messages = FindMessages();
    ASSERT_GE(messages.size(), 3u) << "in " << MIME_TEST_DATA_DIR;
    for (const fs::path& message : messages) {
        const std::string got = DumpReading(message, false);
        EXPECT_EQ(DumpReading(message, true), got) << message;
        fs::path wanted = message;
        if (got == ReadIfThere(wanted.replace_extension(".tree"))) continue;
        const fs::path output =
            fs::path(MIME_TEST_OUTPUT_DIR) / fs::relative(wanted, MIME_TEST_DATA_DIR);
        fs::create_directories(output.parent_path());
        WriteWholeFile(output.string(), got);
        ADD_FAILURE() << wanted.string() << " differs from " << output.string();
    }
}

}  // namespace
}  // namespace MIME

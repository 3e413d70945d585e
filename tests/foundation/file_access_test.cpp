#include "mime/foundation/file_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::GetLastError;
using Test::Random;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

constexpr size_t kLimit = 4'194'304;  // bytes: files from here on are disk files

class FileAccessTest : public testing::Test {
protected:
    KivGuiBase::File At(const char* name) const {
        return KivGuiBase::File(AnsiStr(folder_.At(name)));
    }
    TempFolder folder_;
};

/// Everything that an access opened for reading gives.
std::string ReadAll(FileAccess& access) {
    std::string all(access.GetView());
    char piece[100'000];
    for (unsigned got = 1; !access.IsMemoryView() && got != 0;) {
        if (!access.Read(piece, sizeof piece, got)) return "cannot read";
        all.append(piece, got);
    }
    return all;
}

TEST_F(FileAccessTest, ReadsSmallFilesAsViewsAndLargeOnesPieceByPiece) {
    struct Case {
        size_t size;
        bool isView;
    };
    const Case cases[] = {
        {0, true}, {1, true}, {kLimit - 1, true}, {kLimit, false}, {kLimit + 1, false}};
    FileAccess access(At("file"));
    for (const Case& c : cases) {
        const std::string content = Random(c.size).Bytes(c.size);
        WriteWholeFile(folder_.At("file"), content);
        ASSERT_TRUE(access.OpenForReading()) << c.size;
        EXPECT_EQ(access.IsMemoryView(), c.isView) << c.size;
        EXPECT_TRUE(ReadAll(access) == content) << c.size;
        EXPECT_TRUE(access.Close());
        EXPECT_TRUE(access.Close()) << "a second time";
    }
}

TEST_F(FileAccessTest, TheAnnouncedSizeChoosesHowItIsWritten) {
    struct Case {
        int64_t announced;
        bool isView;
    };
    const Case cases[] = {
        {INT64_MIN, true},        {-1, true},        {0, true}, {int64_t{kLimit} - 1, true},
        {int64_t{kLimit}, false}, {INT64_MAX, false}};
    for (const Case& c : cases) {
        FileAccess access(At("file"));
        ASSERT_TRUE(access.OpenForWriting(c.announced)) << c.announced;
        EXPECT_EQ(access.IsMemoryView(), c.isView) << c.announced;
        EXPECT_TRUE(access.Write(AnsiStr("text")));
        EXPECT_TRUE(access.Close());
        EXPECT_EQ(ReadWholeFile(folder_.At("file")), "text") << c.announced;
    }
}

// A body whose announced size was a lie, written in steps around the place where it must leave
// memory, by copying and through room of the file's own in turn.
TEST_F(FileAccessTest, AViewThatGrowsTooLargeGoesOnAsADiskFile) {
    const std::string content = Random(1).Bytes(kLimit + 300'000);
    const size_t sizes[] = {0, kLimit - 1, kLimit, kLimit + 1, content.size()};
    for (const size_t size : sizes) {
        for (const size_t piece : {1'000u, 99'999u, 131'072u}) {
            FileAccess access(At("file"));
            ASSERT_TRUE(access.OpenForWriting(10));
            for (size_t at = 0; at < size; at += piece) {
                const auto count = static_cast<unsigned>(std::min(piece, size - at));
                if (at / piece % 2 == 0) {
                    ASSERT_TRUE(access.Write(content.data() + at, count));
                    continue;
                }
                char* room = access.GetWriteRoom(count);
                ASSERT_NE(room, nullptr);
                std::copy_n(content.data() + at, count, room);
                access.Commit(count);
            }
            EXPECT_EQ(access.IsMemoryView(), size < kLimit) << size << " in pieces of " << piece;
            ASSERT_TRUE(access.Close());
            EXPECT_TRUE(ReadWholeFile(folder_.At("file")) == content.substr(0, size)) << size;
        }
    }
}

TEST_F(FileAccessTest, WritingNothingSucceedsAndTouchesNothing) {
    FileAccess access(At("file"));
    EXPECT_TRUE(access.Write(nullptr, 0)) << "nothing is open";
    EXPECT_TRUE(access.Write(AnsiStr())) << "nothing is open";
    EXPECT_FALSE(std::filesystem::exists(folder_.At("file")));
    for (const int64_t announced : {int64_t{0}, int64_t{kLimit}}) {
        ASSERT_TRUE(access.OpenForWriting(announced));
        EXPECT_TRUE(access.Write(nullptr, 0));
        EXPECT_TRUE(access.Close());
        EXPECT_EQ(ReadWholeFile(folder_.At("file")), "");
    }
}

TEST_F(FileAccessTest, WhatIsNotOpenTakesNothing) {
    FileAccess access(At("file"));
    EXPECT_FALSE(access.Write("x", 1));
    EXPECT_EQ(access.GetWriteRoom(1), nullptr);
    EXPECT_TRUE(access.Close());
    for (const int64_t announced : {int64_t{0}, int64_t{kLimit}}) {
        ASSERT_TRUE(access.OpenForWriting(announced));
        ASSERT_TRUE(access.Close());
        EXPECT_FALSE(access.Write("x", 1)) << "closed";
        EXPECT_EQ(access.GetWriteRoom(1), nullptr) << "closed";
    }
    EXPECT_EQ(access.GetWriteRoom(FileAccess::kMaxRoom + 1), nullptr);
    EXPECT_EQ(ReadWholeFile(folder_.At("file")), "");
}

TEST_F(FileAccessTest, OpeningAgainEndsWhatWasOpen) {
    FileAccess access(At("file"));
    ASSERT_TRUE(access.OpenForWriting(0));
    ASSERT_TRUE(access.Write(AnsiStr("first")));
    ASSERT_TRUE(access.OpenForReading());
    EXPECT_EQ(access.GetView(), "first");
    ASSERT_TRUE(access.OpenDiskFileForWriting());
    ASSERT_TRUE(access.Write(AnsiStr("second")));
    ASSERT_TRUE(access.OpenForReading());
    EXPECT_EQ(access.GetView(), "second");
}

TEST_F(FileAccessTest, DestructionWritesTheRest) {
    for (const int64_t announced : {int64_t{0}, int64_t{kLimit}}) {
        {
            FileAccess access(At("file"));
            ASSERT_TRUE(access.OpenForWriting(announced));
            ASSERT_TRUE(access.Write(AnsiStr("text")));
        }
        EXPECT_EQ(ReadWholeFile(folder_.At("file")), "text") << announced;
    }
}

TEST_F(FileAccessTest, OpeningReportsWhyItFailed) {
    std::filesystem::create_directory(folder_.At("folder"));
    WriteWholeFile(folder_.At("file"), "text");
    struct Case {
        const char* why;
        const char* name;
        bool (*open)(FileAccess& access);
        uint32_t error;
    };
    const auto read = [](FileAccess& access) { return access.OpenForReading(); };
    const auto writeSmall = [](FileAccess& access) { return access.OpenForWriting(0); };
    const auto writeLarge = [](FileAccess& access) { return access.OpenDiskFileForWriting(); };
    const auto makeSmall = [](FileAccess& access) {
        return access.OpenForWriting(0, FileAccess::Target::newFile);
    };
    const auto makeLarge = [](FileAccess& access) {
        return access.OpenForWriting(kLimit, FileAccess::Target::newFile);
    };
    const Case cases[] = {
        {"no such file", "missing", read, KivGuiBase::kErrorFileNotFound},
        {"a folder", "folder", read, KivGuiBase::kErrorAccessDenied},
        {"no such folder", "missing/file", writeSmall, KivGuiBase::kErrorFileNotFound},
        {"no such folder, large", "missing/file", writeLarge, KivGuiBase::kErrorFileNotFound},
        {"a file as folder", "file/file", makeSmall, KivGuiBase::kErrorPathNotFound},
        {"writing a folder", "folder", writeSmall, KivGuiBase::kErrorAccessDenied},
        {"the name is taken", "file", makeSmall, KivGuiBase::kErrorFileExists},
        {"the name is taken, large", "file", makeLarge, KivGuiBase::kErrorFileExists},
    };
    for (const Case& c : cases) {
        FileAccess access(At(c.name));
        KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
        EXPECT_FALSE(c.open(access)) << c.why;
        EXPECT_EQ(GetLastError(), c.error) << c.why;
        EXPECT_FALSE(access.Write("x", 1)) << c.why;
        EXPECT_TRUE(access.Close()) << c.why;
    }
    EXPECT_EQ(ReadWholeFile(folder_.At("file")), "text");
}

}  // namespace
}  // namespace MIME

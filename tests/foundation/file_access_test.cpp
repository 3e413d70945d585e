#include "mime/foundation/file_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using namespace Test;

using KivGuiBase::AnsiStr;

constexpr size_t kLimit = 4'194'304;  // bytes: files from here on are disk files

class FileAccessTest : public testing::Test {
protected:
    TempFolder folder_;
    const std::string path_ = folder_.At("file");
    FileAccess access_{KivGuiBase::File(AnsiStr(path_))};
};

TEST_F(FileAccessTest, ReadsSmallFilesAsViewsAndLargeOnesPieceByPiece) {
    for (const size_t size : {size_t{0}, size_t{1}, kLimit - 1, kLimit, kLimit + 1}) {
        const std::string content = Random(size).Bytes(size);
        WriteWholeFile(path_, content);
        ASSERT_TRUE(access_.OpenForReading()) << size;
        EXPECT_EQ(access_.IsMemoryView(), size < kLimit) << size;
        std::string all(access_.GetView());
        char piece[100'000];
        for (unsigned got = 1; !access_.IsMemoryView() && got != 0;) {
            ASSERT_TRUE(access_.Read(piece, sizeof piece, got));
            all.append(piece, got);
        }
        EXPECT_TRUE(all == content) << size;
    }
}

TEST_F(FileAccessTest, TheAnnouncedSizeChoosesHowItIsWritten) {
    constexpr int64_t kBorder = kLimit;
    for (const int64_t announced : {int64_t{-1}, kBorder - 1, kBorder, INT64_MAX}) {
        EXPECT_FALSE(access_.Write("x", 1)) << "nothing is open";
        EXPECT_EQ(access_.GetWriteRoom(1), nullptr);
        EXPECT_TRUE(access_.Write(nullptr, 0));
        ASSERT_TRUE(access_.OpenForWriting(announced)) << announced;
        EXPECT_EQ(access_.IsMemoryView(), announced < kBorder) << announced;
        EXPECT_TRUE(access_.Write(AnsiStr("text")));
        EXPECT_EQ(access_.GetWriteRoom(FileAccess::kMaxRoom + 1), nullptr);
        ASSERT_TRUE(access_.OpenForReading()) << "ends the writing";
        EXPECT_EQ(access_.GetView(), "text") << announced;
        EXPECT_TRUE(access_.Close());
        EXPECT_FALSE(access_.OpenForWriting(announced, FileAccess::Target::newFile));
        EXPECT_EQ(KivGuiBase::GetLastError(), KivGuiBase::kErrorFileExists);
    }
}

// A body whose announced size was a lie, written in steps around the place where it must leave
// memory, by copying and through room of the file's own in turn.
TEST_F(FileAccessTest, AViewThatGrowsTooLargeGoesOnAsADiskFile) {
    const std::string content = Random(1).Bytes(kLimit + 300'000);
    for (const size_t size : {kLimit - 1, kLimit, kLimit + 1, content.size()}) {
        for (const size_t piece : {1'000u, 99'999u, 131'072u}) {
            ASSERT_TRUE(access_.OpenForWriting(10));
            for (size_t at = 0; at < size; at += piece) {
                const auto count = static_cast<unsigned>(std::min(piece, size - at));
                if (at / piece % 2 == 0) {
                    ASSERT_TRUE(access_.Write(content.data() + at, count));
                    continue;
                }
                char* room = access_.GetWriteRoom(count);
                ASSERT_NE(room, nullptr);
                std::copy_n(content.data() + at, count, room);
                access_.Commit(count);
            }
            EXPECT_EQ(access_.IsMemoryView(), size < kLimit) << size << " in pieces of " << piece;
            ASSERT_TRUE(access_.Close());
            EXPECT_TRUE(ReadWholeFile(path_) == content.substr(0, size)) << size;
        }
    }
}

}  // namespace
}  // namespace MIME

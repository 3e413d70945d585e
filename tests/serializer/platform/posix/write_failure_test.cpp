#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kivgui/platform/posix/small_disk.h"
#include "mime/mime.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using KivGuiBase::SmallDisk;
using Test::TempFolder;
using Test::WriteWholeFile;

constexpr TransferEncoding::keys kEncodings[] = {
    TransferEncoding::base64, TransferEncoding::quoted_printable, TransferEncoding::binary};

/// A multipart entity with one body, in memory or in a file.
struct Tree {
    Tree(TransferEncoding::keys encoding, const std::string& content, const std::string& file)
        : leaf(*new Part) {
        top.AddPart(&leaf);
        leaf.info.transferEncoding = encoding;
        leaf.data.content = std::string_view(content);
        leaf.data.file = File(AnsiStr(std::string_view(file)));
    }
    Part top;
    Part& leaf;
};

void ExpectDiskFull(const File& target, Part& part, size_t size) {
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    EXPECT_FALSE(part.Write(target)) << size << " bytes";
    EXPECT_EQ(KivGuiBase::GetLastError(), KivGuiBase::kErrorDiskFull) << size << " bytes";
}

/// Bodies of `size` bytes do not fit, from wherever they come and however they are encoded.
void ExpectDiskFull(const File& target, size_t size) {
    TempFolder folder;
    const std::string content(size, 'x');
    WriteWholeFile(folder.At("body"), content);
    for (const auto encoding : kEncodings) {
        Tree inMemory(encoding, content, "");
        ExpectDiskFull(target, inMemory.top, size);
        Tree inFile(encoding, "", folder.At("body"));
        ExpectDiskFull(target, inFile.top, size);
    }
    Part headers;
    headers.headers.FindOrInsert("Subject")->value.value = std::string_view(content);
    ExpectDiskFull(target, headers, size);
    Part raw;
    raw.rawText = std::string_view(content);
    ExpectDiskFull(target, raw, size);
}

TEST(WriteFailureTest, ADeviceThatIsFull) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    // Within the buffer, so that only the close can tell; and beyond; and read in pieces.
    for (const size_t size : {1u, 500'000u, 5'000'000u}) {
        ExpectDiskFull(File("/dev/full"), size);
    }
}

TEST(WriteFailureTest, ADiskThatFillsUp) {
    const SmallDisk disk(1 << 20);
    if (!disk.GetReason().empty()) GTEST_SKIP() << disk.GetReason();
    const File target(AnsiStr(disk.At("out")));
    for (const size_t size : {1'100'000u, 5'000'000u}) ExpectDiskFull(target, size);

    for (const auto encoding : kEncodings) {
        EXPECT_TRUE(Tree(encoding, std::string(700'000, 'x'), "").top.Write(target))
            << "what fits is no failure";
    }
}

}  // namespace
}  // namespace MIME

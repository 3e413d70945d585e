// What becomes of body files: who may read them, and what a full disk does.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "kivgui/platform/posix/small_disk.h"
#include "parser/reading.h"

namespace MIME {
namespace {

using Test::Lines;
using Test::Reading;
using Test::TempFolder;
using Test::ToString;

constexpr const char* kType = "multipart/mixed; boundary=a";

std::string MakeLeaf(const std::string& encoding, const std::string& body) {
    return Lines({"--a", "Content-Transfer-Encoding: " + encoding, "", body});
}

TEST(BodyFilesTest, OnlyTheOwnerMayReadThem) {
    const TempFolder folder;
    const mode_t before = umask(0);
    const Reading got(MakeLeaf("7bit", "text") + "--a--", kType);
    umask(before);
    ASSERT_TRUE(got.read) << got.error;
    struct stat status;
    ASSERT_EQ(stat(got.part.parts[0]->data.file.GetPath().GetStr(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

/// Sets the folder for temporary files.
class TempFolderAt {
public:
    explicit TempFolderAt(const std::string& path) { setenv("TMPDIR", path.c_str(), 1); }
    ~TempFolderAt() { setenv("TMPDIR", before_.c_str(), 1); }

private:
    std::string before_ = std::getenv("TMPDIR");
};

TEST(BodyFilesTest, AFullDiskFailsTheWrite) {
    const KivGuiBase::SmallDisk disk(0x100000);
    if (!disk.GetReason().empty()) GTEST_SKIP() << disk.GetReason();
    const TempFolderAt there(disk.GetPath());
    std::string base64Lines;
    std::string lines;
    for (int i = 0; i < 40'000; ++i) {
        base64Lines += "QUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJD\r\n";
        lines += "0123456789 0123456789 0123456789 0123456789 0123456789\r\n";
    }
    struct Case {
        const char* why;
        std::string leaf;
    };
    const Case cases[] = {
        {"copied", MakeLeaf("7bit", lines)},
        {"copied, counted", "--a\r\nContent-Length: 2000000\r\n\r\n" + lines},
        {"base64", MakeLeaf("base64", base64Lines)},
        {"base64 in one line", MakeLeaf("base64", std::string(4'000'000, 'Q'))},
        {"quoted-printable", MakeLeaf("quoted-printable", lines)},
        {"quoted-printable in one line", MakeLeaf("quoted-printable", std::string(4'000'000, 'Q'))},
        {"to a disk file",
         "--a\r\nContent-Length: 5000000\r\nContent-Transfer-Encoding: "
         "quoted-printable\r\n\r\n" +
             lines},
    };
    for (const Case& c : cases) {
        const std::string text = MakeLeaf("7bit", "small") + c.leaf + "--a--";
        const Reading got(text, kType);
        EXPECT_FALSE(got.read) << c.why;
        EXPECT_EQ(got.error, "write failed (No space left on the disk)") << c.why;
        EXPECT_EQ(got.part.parts.GetCount(), 1u) << c.why;
    }
}

}  // namespace
}  // namespace MIME

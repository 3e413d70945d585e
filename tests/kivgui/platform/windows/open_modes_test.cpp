// What opening does with files and names that only Windows has.

#include <gtest/gtest.h>

#include <string>

#include "kivgui/disk_file.h"
#include "kivgui/memory_file.h"
#include "kivgui/platform/windows/system.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;

TEST(WindowsOpenTest, AFileThatIsReplacedKeepsItsAttributes) {
    const TempFolder folder;
    const std::string path = folder.At("file");
    for (const DWORD attributes : {FILE_ATTRIBUTE_HIDDEN, FILE_ATTRIBUTE_SYSTEM}) {
        WriteWholeFile(path, "something longer");
        ASSERT_TRUE(SetFileAttributesW(ToPath(path).c_str(), attributes));
        DiskFile out;
        ASSERT_TRUE(out.Open(File(AnsiStr(path)), DiskFile::Mode::create)) << GetLastError();
        EXPECT_TRUE(out.Write("new", 3) && out.Close());
        EXPECT_EQ(ReadWholeFile(path), "new");
        EXPECT_TRUE(GetFileAttributesW(ToPath(path).c_str()) & attributes) << attributes;
        SetFileAttributesW(ToPath(path).c_str(), FILE_ATTRIBUTE_NORMAL);
    }
}

TEST(WindowsOpenTest, DevicesAreNoNewFiles) {
    const TempFolder folder;
    for (const std::string& name :
         {std::string("NUL"), folder.At("nul"), std::string("\\\\.\\NUL")}) {
        const File device((AnsiStr(name)));
        SetLastError(kErrorNone);
        EXPECT_FALSE(DiskFile().Open(device, DiskFile::Mode::createNew)) << name;
        EXPECT_EQ(GetLastError(), kErrorFileExists) << name;
        EXPECT_FALSE(MemoryFile().Open(device, MemoryFile::Mode::read)) << name;
        EXPECT_EQ(GetLastError(), kErrorInvalidFunction) << name;
        EXPECT_TRUE(DiskFile().Open(device, DiskFile::Mode::create)) << "a host may write there";
    }
}

}  // namespace
}  // namespace KivGuiBase

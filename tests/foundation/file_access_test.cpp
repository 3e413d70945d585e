#include "mime/foundation/file_access.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

TEST(FileAccessTest, WhatIsOpenForReadingTakesNoBytes) {
    const MIME::Test::TempFolder folder;
    MIME::Test::WriteWholeFile(folder.At("body"), "text");
    FileAccess view(KivGuiBase::File(KivGuiBase::AnsiStr(folder.At("body"))));
    for (const bool isOpen : {false, true}) {
        ASSERT_TRUE(!isOpen || view.OpenForReading());
        KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
        EXPECT_FALSE(view.Write("more", 4)) << isOpen;
        EXPECT_EQ(KivGuiBase::GetLastError(), KivGuiBase::kErrorInvalidHandle);
        KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
        EXPECT_EQ(view.GetWriteRoom(4), nullptr) << isOpen;
        EXPECT_EQ(KivGuiBase::GetLastError(), KivGuiBase::kErrorInvalidHandle);
    }
    EXPECT_EQ(view.GetView(), "text");
}

}  // namespace
}  // namespace MIME

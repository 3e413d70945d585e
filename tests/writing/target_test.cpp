#include "mime/writing/target.h"

#include <gtest/gtest.h>

#include "kivgui/error.h"
#include "mime/writing/write_failure.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

namespace System = Test::System;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::ToPath;
using Test::WriteWholeFile;
using Names = std::vector<std::string>;

TEST(TargetTest, AFileAppearsWhenItIsCompleteOrNotAtAll) {
    const TempFolder folder;
    const std::string path = folder.At("x.eml");
    std::string before;
    const std::string whole(300'000, 'n');     // more than the file buffers
    for (int round = 0; round < 2; ++round) {  // a new file, then one that is there
        const auto writePart = [&](const Take& take) {
            take(whole);
            const Names names = folder.List();
            ASSERT_EQ(names.size(), 1u + static_cast<size_t>(round));
            EXPECT_TRUE(System::IsOwnersAlone(folder.At(names[0]))) << names[0];
            EXPECT_TRUE(round == 0 || ReadWholeFile(path) == before);
        };
        const Result<void> failed = SaveTo(ToPath(path), [&](const Take& take) {
            writePart(take);
            Fail(ErrorCode::badDate);
        });
        EXPECT_EQ(failed.error().GetCode(), ErrorCode::badDate);
        EXPECT_EQ(folder.List(), round == 0 ? Names() : Names{"x.eml"});
        EXPECT_TRUE(SaveTo(ToPath(path), writePart));
        EXPECT_EQ(folder.List(), Names{"x.eml"});
        EXPECT_EQ(ReadWholeFile(path), whole);
        WriteWholeFile(path, before = "longer than nothing");
    }
}

TEST(TargetTest, WhatCannotBeWrittenIsNamed) {
    const TempFolder folder;
    // A path, and the system's code where all systems agree.
    const std::pair<std::string, uint32_t> cases[] = {
        {folder.GetPath(), KivGuiBase::kErrorAccessDenied},
        {"", KivGuiBase::kErrorFileNotFound},
        {folder.At("x") + std::string("\0.eml", 5), KivGuiBase::kErrorInvalidParameter},
        {folder.At("missing/x"), 0},
        {System::GetFullDevice(), 0},
    };
    for (const auto& [path, want] : cases) {
        const Result<void> saved = SaveTo(ToPath(path), [](const Take& take) { take("x"); });
        EXPECT_EQ(saved.error().GetCode(), ErrorCode::cannotWrite) << path;
        EXPECT_TRUE(saved.error().GetText().starts_with(path.c_str())) << path;
        EXPECT_TRUE(want == 0 || saved.error().GetSystemCode() == want) << path;
    }
    EXPECT_EQ(folder.List(), Names());
}

}  // namespace
}  // namespace MIME

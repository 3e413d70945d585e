#include "mime/mime.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

class DataTest : public testing::Test {
protected:
    bool Exists(const char* name) const { return std::filesystem::exists(folder_.At(name)); }

    TempFolder folder_;
};

TEST_F(DataTest, DeletesTheFileItOwnsAndNoOther) {
    struct Case {
        const char* why;
        bool ownsFile;
        void (*end)(Data& data);
    };
    const Case cases[] = {
        {"destroyed", true, [](Data&) {}},
        {"destroyed, not owned", false, [](Data&) {}},
        {"overwritten", true, [](Data& data) { data = Data(); }},
        {"overwritten, not owned", false, [](Data& data) { data = Data(); }},
    };
    for (const Case& c : cases) {
        WriteWholeFile(folder_.At("file"), "text");
        {
            Data data;
            data.file = File(AnsiStr(folder_.At("file")));
            data.ownsFile = c.ownsFile;
            c.end(data);
        }
        EXPECT_EQ(Exists("file"), !c.ownsFile) << c.why;
    }
    Data nothing;
    nothing.ownsFile = true;  // and no path: there is nothing to delete
    nothing = Data();
    EXPECT_FALSE(nothing.ownsFile);
}

TEST_F(DataTest, ACopyOfAnOwnedFileIsAFileOfItsOwn) {
    WriteWholeFile(folder_.At("photo.jpeg"), "the photo");
    auto original = std::make_unique<Data>();
    original->file = File(AnsiStr(folder_.At("photo.jpeg")));
    original->ownsFile = true;
    original->encoded = true;
    original->topLevel = true;
    original->content = "content";

    auto copy = std::make_unique<Data>(*original);
    EXPECT_TRUE(copy->encoded && copy->topLevel && copy->ownsFile);
    EXPECT_EQ(copy->content, "content");
    const std::string path(copy->file.GetPath());
    EXPECT_NE(path, folder_.At("photo.jpeg"));
    EXPECT_TRUE(path.starts_with(folder_.GetPath() + "/") && path.ends_with(".jpeg")) << path;
    EXPECT_EQ(ReadWholeFile(path), "the photo");

    const Data second = *copy;
    copy.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
    original.reset();
    EXPECT_EQ(ReadWholeFile(std::string_view(second.file.GetPath())), "the photo");
    EXPECT_EQ(folder_.List().size(), 1u);
}

TEST_F(DataTest, ACopyOfAFileThatIsNotOwnedSharesIt) {
    Data original;
    original.file = File(AnsiStr(folder_.At("anywhere")));
    const Data copy = original;
    EXPECT_EQ(copy.file.GetPath(), original.file.GetPath());
    EXPECT_FALSE(copy.ownsFile);
}

TEST_F(DataTest, ACopyOfAFileThatIsGoneHasNone) {
    Data original;
    original.file = File(AnsiStr(folder_.At("missing")));
    original.ownsFile = true;
    original.content = "content";
    const Data copy = original;
    EXPECT_TRUE(copy.file.IsEmpty());
    EXPECT_TRUE(copy.ownsFile);
    EXPECT_EQ(copy.content, "content");
    EXPECT_TRUE(folder_.List().empty()) << "no half of a copy stays";
}

TEST_F(DataTest, AssigningOverAnOwnedFileDeletesIt) {
    WriteWholeFile(folder_.At("old"), "old");
    WriteWholeFile(folder_.At("new"), "new");
    Data target;
    target.file = File(AnsiStr(folder_.At("old")));
    target.ownsFile = true;
    Data source;
    source.file = File(AnsiStr(folder_.At("new")));
    source.ownsFile = true;

    const Data& self = target;
    target = self;
    EXPECT_EQ(ReadWholeFile(folder_.At("old")), "old") << "itself";
    EXPECT_EQ(target.file.GetPath(), folder_.At("old"));
    target = source;
    EXPECT_FALSE(Exists("old"));
    EXPECT_TRUE(Exists("new"));
    EXPECT_EQ(ReadWholeFile(std::string_view(target.file.GetPath())), "new");
}

}  // namespace
}  // namespace MIME

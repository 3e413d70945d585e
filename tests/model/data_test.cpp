#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "mime/mime.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using namespace Test;

class DataTest : public testing::Test {
protected:
    /// Makes `data` a body with a file that it owns and that holds its own name.
    void Fill(Data& data, const char* name) const {
        WriteWholeFile(folder_.At(name), name);
        data.content = "content";
        data.encoded = data.topLevel = data.ownsFile = true;
        data.file = File(AnsiStr(folder_.At(name)));
    }
    static std::string Read(const Data& data) {
        return ReadWholeFile(std::string(data.file.GetPath()));
    }
    TempFolder folder_;
};

TEST_F(DataTest, DeletesTheFileItOwnsAndNoOther) {
    for (const bool ownsFile : {true, false}) {
        Data data;
        Fill(data, "file");
        data.ownsFile = ownsFile;
        data = Data();
        EXPECT_EQ(std::filesystem::exists(folder_.At("file")), !ownsFile);
    }
}

TEST_F(DataTest, ACopyOfAnOwnedFileIsAFileOfItsOwn) {
    Data original;
    Fill(original, "photo.jpeg");
    Data copy = original;
    EXPECT_TRUE(copy.encoded && copy.topLevel && copy.ownsFile);
    EXPECT_EQ(copy.content, "content");
    EXPECT_TRUE(std::string(copy.file.GetPath()).ends_with(".jpeg"));
    original = Data();
    EXPECT_EQ(Read(copy), "photo.jpeg");
    EXPECT_EQ(folder_.List().size(), 1u);

    const Data& self = copy;
    copy = self;
    EXPECT_EQ(Read(copy), "photo.jpeg") << "itself";
    Data target;
    Fill(target, "old");
    target = copy;
    EXPECT_FALSE(std::filesystem::exists(folder_.At("old")));
    EXPECT_EQ(Read(target), "photo.jpeg");
    EXPECT_EQ(folder_.List().size(), 2u);
}

TEST_F(DataTest, ACopyOfAFileThatIsNotOwnedSharesItAndOfOneThatIsGoneHasNone) {
    Data original;
    original.file = File(AnsiStr(folder_.At("missing")));
    EXPECT_EQ(Data(original).file.GetPath(), original.file.GetPath());
    original.ownsFile = true;
    EXPECT_TRUE(Data(original).file.IsEmpty());
    EXPECT_TRUE(folder_.List().empty()) << "no half of a copy stays";
}

}  // namespace
}  // namespace MIME

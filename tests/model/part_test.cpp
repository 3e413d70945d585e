#include "mime/mime.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::TempFolder;
using Test::WriteWholeFile;

/// A child whose body file is deleted with it, so that the folder shows who is alive.
Part* NewChild(const TempFolder& folder, const std::string& name) {
    WriteWholeFile(folder.At(name), name);
    auto* child = new Part;
    child->data.file = File(AnsiStr(folder.At(name)));
    child->data.ownsFile = true;
    return child;
}

TEST(PartTest, AChildMakesAPartMultipart) {
    Part parent;
    parent.info.contentType.str = "multipart/related";
    auto* first = new Part;
    parent.AddPart(first);
    const AnsiStr boundary = parent.info.boundary;
    EXPECT_EQ(boundary.GetLength(), 40u);
    EXPECT_EQ(boundary.Copy(8), "=_Qvm_=-");
    EXPECT_EQ(parent.info.contentType.str, "multipart/related");
    EXPECT_TRUE(parent.headers.IsEmpty());
    EXPECT_TRUE(first->info.boundary.IsEmpty());
    parent.AddPart(new Part);
    EXPECT_EQ(parent.info.boundary, boundary) << "the first child settles it";

    Part read;
    read.info.boundary = "theirs";
    read.AddPart(new Part);
    EXPECT_EQ(read.info.boundary, "theirs");
}

TEST(PartTest, ChildrenStayInOrder) {
    Part parent;
    Part* children[25];
    for (Part*& child : children) parent.AddPart(child = new Part);
    ASSERT_EQ(parent.parts.GetCount(), 25u);
    for (unsigned i = 0; i < 25; ++i) EXPECT_EQ(parent.parts[i], children[i]) << i;
}

TEST(PartTest, TheWholeTreeGoesWithItsRoot) {
    const TempFolder folder;
    {
        Part root;
        for (const char* name : {"a", "b", "c"}) {
            Part* child = NewChild(folder, name);
            root.AddPart(child);
            for (const char* suffix : {"1", "2"}) {
                Part* grandchild = NewChild(folder, std::string(name) + suffix);
                child->AddPart(grandchild);
                grandchild->AddPart(NewChild(folder, std::string(name) + suffix + "x"));
            }
        }
        EXPECT_EQ(folder.List().size(), 15u);
    }
    EXPECT_TRUE(folder.List().empty()) << folder.List().front();
}

TEST(PartTest, ATreeMayBeDeeperThanTheStack) {
    constexpr int kDepth = 300'000;
    const TempFolder folder;
    auto root = std::make_unique<Part>();
    Part* part = root.get();
    for (int i = 0; i < kDepth; ++i) {
        auto* child = new Part;
        part->parts.Add(child);
        if (i % 1000 == 0) part->parts.Add(new Part);
        part = child;
    }
    part->AddPart(NewChild(folder, "deepest"));
    root.reset();  // recursion would end the process here
    EXPECT_TRUE(folder.List().empty());
}

TEST(PartTest, OddChildrenAreDestroyedWithoutHarm) {
    const TempFolder folder;
    SharedArray<Part*> kept;
    {
        Part root;
        root.parts.Add(nullptr);
        Part* child = NewChild(folder, "child");
        root.parts.Add(child);
        root.parts.Add(nullptr);
        for (unsigned i = 0; i < 30; ++i) {
            child->AddPart(NewChild(folder, "grandchild" + std::to_string(i)));
        }
        kept = child->parts;  // a host may hold the array itself; the children are not its own
    }
    EXPECT_TRUE(folder.List().empty());
    EXPECT_EQ(kept.GetCount(), 30u);
}

}  // namespace
}  // namespace MIME

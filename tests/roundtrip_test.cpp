// What the writers write and the reader reads back.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kivgui/convert.h"
#include "mime/mime.h"
#include "parser/reading.h"
#include "support/bytes.h"
#include "support/temp_folder.h"
#include "support/tree_maker.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::ReadWholeFile;
using Test::ShowFields;
using Test::TempFolder;
using Test::TreeMaker;

/// The tree as text: structure, fields and transfer.
std::string Show(const Part& part, const std::string& indent = "") {
    std::string shown = indent + std::string(TransferEncoding::GetStr(part.info.transferEncoding)) +
                        "|" + std::string(part.info.boundary) +
                        (part.info.isMessage ? "|message|" : "|") +
                        Escape(ShowFields(part.headers));
    for (const Part* child : part.parts) shown += "\n" + Show(*child, indent + "  ");
    return shown;
}

/// The bodies of the leaves, in document order.
std::vector<std::string> GetBodies(const Part& part) {
    std::vector<std::string> bodies;
    if (part.parts.IsEmpty()) {
        bodies.push_back(part.data.file.IsEmpty() ? std::string(part.data.content)
                                                  : ReadWholeFile(part.data.file.GetPath()));
    }
    for (const Part* child : part.parts) {
        for (std::string& body : GetBodies(*child)) bodies.push_back(std::move(body));
    }
    return bodies;
}

class RoundtripTest : public testing::Test {
protected:
    std::string Write(Part& part, AnsiStr* contentTypeOut = nullptr) {
        EXPECT_TRUE(part.Write(target_, contentTypeOut));
        return ReadWholeFile(folder_.At("out"));
    }
    static void Read(Part& part, std::string_view text, const ReadOptions& options = {},
                     const char* contentType = nullptr, ReadReport* report = nullptr) {
        AnsiStr error;
        ASSERT_TRUE(part.Read(text.data(), text.size(), error, options, report, contentType))
            << error << "\n"
            << Escape(text.substr(0, 5000));
    }

    TempFolder folder_;
    const File target_{AnsiStr(folder_.At("out"))};
};

TEST_F(RoundtripTest, ExactTreesComeBack) {
    for (uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        TreeMaker maker(seed, Rules::exact, folder_);
        Part tree;
        maker.MakeMultipart(tree, 4);
        Part whole;
        Read(whole, Write(tree));
        ASSERT_EQ(Show(whole), Show(tree));
        ASSERT_EQ(GetBodies(whole), maker.GetBodies());

        AnsiStr contentType;
        const std::string text = Write(tree, &contentType);
        Part apart;
        Read(apart, text, {}, contentType.GetStr());
        ASSERT_EQ(Show(*apart.parts[0]), Show(*tree.parts[0]));
        ASSERT_EQ(GetBodies(apart), maker.GetBodies());
        AnsiStr again;
        Write(apart, &again);
        EXPECT_EQ(again, contentType);
    }
}

TEST_F(RoundtripTest, MailTreesComeBack) {
    ReadOptions options = ReadOptions::Mail();
    options.bodies = Bodies::memory;
    for (uint64_t seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE(seed);
        TreeMaker maker(seed, Rules::mail, folder_);
        Part tree;
        maker.MakeMultipart(tree, 4);
        const AnsiStr text = tree.Serialize(false);
        Part read;
        ReadReport report;
        Read(read, text, options, nullptr, &report);
        ASSERT_EQ(Show(read), Show(tree)) << text;
        ASSERT_EQ(GetBodies(read), maker.GetBodies());
        EXPECT_TRUE(report.deviations.IsEmpty()) << report.deviations[0].kind;
    }
}

TEST_F(RoundtripTest, CarriedMessagesAreStreamedBack) {
    const std::string message = "Content-Type: message/rfc822\r\n\r\nX: 1\r\n\r\n1\r\n";
    const std::string digest =
        "Content-Type: multipart/digest; boundary=b\r\n\r\n--b\r\n\r\nX: 2\r\n\r\n2\r\n--b--\r\n";
    Part first;
    Read(first,
         "Content-Type: message/rfc822\r\n\r\nContent-Type: multipart/mixed; "
         "boundary=a\r\n\r\n--a\r\n" +
             message + "--a\r\n" + digest + "--a--\r\n",
         ReadOptions::Mail());
    Part again;
    Read(again, Write(first), ReadOptions::Mail());
    EXPECT_EQ(GetBodies(again), (std::vector<std::string>{"1", "2"}));
    EXPECT_TRUE(again.info.isMessage);
    EXPECT_TRUE(again.parts[0]->parts[1]->parts[0]->info.isMessage);
    EXPECT_EQ(Show(*again.parts[0]->parts[0]), Show(*first.parts[0]->parts[0]));
}

}  // namespace
}  // namespace MIME

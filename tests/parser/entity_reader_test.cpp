#include "mime/parser/entity_reader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "parser/reading.h"

namespace MIME {
namespace {

using namespace std::string_literals;
using Test::Lines;
using Test::Reading;
using Test::ReadWholeFile;
using Test::ShowBodies;
using Test::ShowFields;
using Test::TempFolder;
using Test::ToString;
using Test::WriteWholeFile;

class EntityReaderTest : public testing::Test {
protected:
    TempFolder folder_;
};

const std::string kTop = Lines({"Content-Type: multipart/mixed; boundary=a", ""});
const std::string kInner = Lines({"Content-Type: multipart/mixed; boundary=b", ""});

/// A leaf without header fields, up to the delimiter behind it.
std::string Leaf(const std::string& body) {
    return "\r\n" + body + "\r\n";
}

TEST_F(EntityReaderTest, ReadsTrees) {
    struct Case {
        const char* why;
        std::string text;
        const char* bodies;
    };
    const Case cases[] = {
        {"one child", kTop + "--a\r\n" + Leaf("1") + "--a--\r\n", "([1])"},
        {"no child", kTop + "--a--\r\n", "()"},
        {"an empty child", kTop + "--a\r\n\r\n--a--", "([])"},
        {"children", kTop + "--a\r\n" + Leaf("1") + "--a\r\n" + Leaf("2") + "--a--", "([1][2])"},
        {"a byte-order mark and line ends first",
         "\xEF\xBB\xBF\r\n\n\r\r\n" + kTop + "--a\r\n" + Leaf("1") + "--a--", "([1])"},
        {"a preamble", kTop + "This is\r\n- -a\r\n--A\r\n--a\r\n" + Leaf("1") + "--a--", "([1])"},
        {"an epilogue, NULs in it", kTop + "--a--\r\nend\0--a\r\n"s, "()"},
        {"nested", kTop + "--a\r\n" + kInner + "--b\r\n" + Leaf("1") + "--b--\r\n--a--", "(([1]))"},
        {"an epilogue of a nested entity",
         kTop + "--a\r\n" + kInner + "--b--\r\nbye\r\n\r\n--a\r\n" + Leaf("2") + "--a--",
         "(()[2])"},
        {"the enclosing boundary in a nested preamble",
         kTop + "--a\r\n" + kInner + "--a\r\n--a--\r\n--b--\r\n--a--", "(())"},
        {"the enclosing boundary in a nested leaf",
         kTop + "--a\r\n" + kInner + "--b\r\n" + Leaf("1\r\n--a") + "--b--\r\n--a--",
         "(([1\\r\\n--a]))"},
        {"the same boundary on both levels",
         kTop + "--a\r\n" + kTop + "--a\r\n" + Leaf("1") + "--a--\r\n--a\r\n" + Leaf("2") + "--a--",
         "(([1])[2])"},
        {"an inner boundary that begins with the outer one ends nothing early",
         kTop + "--a\r\n" + Lines({"Content-Type: multipart/mixed; boundary=ab", ""}) + "--ab\r\n" +
             Leaf("1") + "--ab--\r\n--a--",
         "(([1]))"},
        {"a multipart without a boundary is a leaf",
         kTop + "--a\r\nContent-Type: multipart/mixed\r\n" + Leaf("1") + "--a--", "([1])"},
        {"an enclosed message is a leaf",
         kTop + "--a\r\nContent-Type: message/rfc822\r\n" + Leaf("A: 1\r\n\r\n2") + "--a--",
         "([A: 1\\r\\n\\r\\n2])"},
        {"the rest of a counted body is passed over",
         kTop + "--a\r\nContent-Length: 2\r\n" + Leaf("1234") + "more\r\n--a--", "([12])"},
    };
    for (const Case& c : cases) {
        const Reading got(c.text);
        EXPECT_TRUE(got.read) << c.why << ": " << got.error;
        EXPECT_EQ(got.error, "") << c.why;
        EXPECT_EQ(ShowBodies(got.part), c.bodies) << c.why;
    }
}

TEST_F(EntityReaderTest, KeepsWhatStandsBeforeAFailure) {
    struct Case {
        const char* why;
        std::string text;
        const char* error;
        const char* bodies;
    };
    const std::string begun = kTop + "--a\r\n" + Leaf("1") + "--a\r\n";
    const Case cases[] = {
        {"no text", "", "text boundary is missing", "()"},
        {"a byte-order mark alone", "\xEF\xBB\xBF\r\n\r\n", "text boundary is missing", "()"},
        {"a single part", Lines({"Subject: x", "", "body"}), "boundary missing", "()"},
        {"a multipart without a boundary", Lines({"Content-Type: multipart/mixed", "", "--a--"}),
         "boundary missing", "()"},
        {"an unknown transfer encoding comes first",
         Lines({"Content-Transfer-Encoding: x", "", "body"}), "unsupported transfer encoding \"x\"",
         "()"},
        {"no boundary line", kTop + "text\r\n", "text boundary is missing", "()"},
        {"NUL in the preamble", kTop + "te\0xt\r\n--a--\r\n"s, "eos in text", "()"},
        {"no header block behind a boundary line", begun, "text boundary is missing", "([1])"},
        {"the text ends inside a body", begun + "\r\nbody\r\n", "data boundary is missing",
         "([1])"},
        {"the text ends inside a decoded body",
         begun + "Content-Transfer-Encoding: base64\r\n\r\nQUJD\r\n", "text boundary is missing",
         "([1])"},
        {"the text ends behind a body", begun + "Content-Length: 4\r\n\r\nbody\r\n",
         "text boundary is missing", "([1][body])"},
        {"a child's bad header line", begun + " x\r\n\r\n--a--", "Unexpected header line: \" x\"",
         "([1])"},
        {"a child's unknown encoding", begun + "Content-Transfer-Encoding: y; z\r\n\r\n--a--",
         "unsupported transfer encoding \"y\"", "([1])"},
        {"a nested entity goes with its complete children",
         begun + kInner + "--b\r\n" + Leaf("2") + "--b\r\n" + Leaf("3") + "--a--",
         "data boundary is missing", "([1])"},
        {"a nested entity that is complete stays", begun + kInner + "--b--\r\n\0x\r\n"s,
         "eos in text", "([1]())"},
    };
    for (const Case& c : cases) {
        const Reading got(c.text);
        EXPECT_FALSE(got.read) << c.why;
        EXPECT_EQ(got.error, c.error) << c.why;
        EXPECT_EQ(ShowBodies(got.part), c.bodies) << c.why;
    }
}

TEST_F(EntityReaderTest, FillsEntities) {
    const std::string text = Lines({
        "content-type: multipart/mixed; boundary=xyz",
        "",
        "--xyz",
        "CONTENT-TYPE: text/plain; charset=x",
        "content-transfer-encoding: 7BIT",
        "",
        "hello",
        "--xyz--",
    });
    const Reading got(text);
    ASSERT_TRUE(got.read) << got.error;
    EXPECT_EQ(ShowFields(got.part.headers),
              "Content-Transfer-Encoding=|Content-Type=multipart/mixed; boundary=xyz");
    EXPECT_EQ(got.part.info.boundary, "xyz");
    EXPECT_EQ(got.part.info.transferEncoding, TransferEncoding::binary);
    EXPECT_TRUE(got.part.data.file.IsEmpty());

    const Part& child = *got.part.parts[0];
    EXPECT_EQ(ShowFields(child.headers),
              "Content-Disposition=; filename=|Content-ID=|Content-Length=|"
              "Content-Transfer-Encoding=7BIT|Content-Type=text/plain; charset=x");
    EXPECT_EQ(child.info.transferEncoding, TransferEncoding::bit7);
    EXPECT_EQ(child.info.contentType.GetStr(), "text/plain");
    EXPECT_TRUE(child.info.charset.IsEmpty());
    EXPECT_TRUE(child.data.content.IsEmpty());
    EXPECT_FALSE(child.data.ownsFile);
}

TEST_F(EntityReaderTest, ContentTypeMayTravelApart) {
    struct Case {
        const char* why;
        const char* contentType;
        std::string text;
        bool read;
        const char* error;
        const char* bodies;
    };
    const std::string body = "--a\r\n" + Leaf("1") + "--a--\r\n";
    const Case cases[] = {
        {"body", "multipart/mixed; boundary=a", body, true, "", "([1])"},
        {"line ends and a preamble first", " Multipart/x;boundary=a ", "\r\n\nx\r\n" + body, true,
         "", "([1])"},
        {"a header block is a preamble", "multipart/mixed; boundary=a", kTop + body, true, "",
         "([1])"},
        {"it counts, not the text's", "multipart/mixed; boundary=b", kTop + body, false,
         "text boundary is missing", "()"},
        {"no boundary", "multipart/mixed", body, false, "boundary missing", "()"},
        {"white space is not trimmed without a parameter", " multipart/mixed", body, false,
         "boundary missing", "()"},
        {"empty", "", body, false, "boundary missing", "()"},
        {"no text", "multipart/mixed; boundary=a", "", false, "text boundary is missing", "()"},
    };
    for (const Case& c : cases) {
        const Reading got(c.text, c.contentType);
        EXPECT_EQ(got.read, c.read) << c.why;
        EXPECT_EQ(got.error, c.error) << c.why;
        EXPECT_EQ(ShowBodies(got.part), c.bodies) << c.why;
    }
    EXPECT_EQ(ShowFields(Reading(body, "multipart/mixed; boundary=a").part.headers),
              "Content-Transfer-Encoding=|Content-Type=multipart/mixed; boundary=a");
}

TEST_F(EntityReaderTest, TheStartParameterNamesTheFirstChild) {
    struct Case {
        const char* why;
        const char* start;
        const char* end;
        const char* bodies;
    };
    const Case cases[] = {
        {"no start", "", "--a--", "([1][2][3][4][5])"},
        {"an empty start", "; start=\"\"", "--a--", "([1][2][3][4][5])"},
        {"one child has it", "; start=\"<R>\"", "--a--", "([4][1][2][3][5])"},
        {"the name's case does not count", "; START=<R>", "--a--", "([4][1][2][3][5])"},
        {"the value's does", "; start=\"<r>\"", "--a--", "([1][2][3][4][5])"},
        {"so do the brackets", "; start=R", "--a--", "([1][2][3][4][5])"},
        {"each that has it goes before those read before", "; start=\"<1>\"", "--a--",
         "([5][3][1][2][4])"},
        {"also when reading fails later", "; start=\"<1>\"", "--a\r\n", "([5][3][1][2][4])"},
    };
    std::string text;
    int number = 0;
    for (const char* id : {"<1>", "<2>", "<1>", "<R>", "<1>"}) {
        text += "--a\r\nContent-ID: " + std::string(id) + "\r\n" + Leaf(std::to_string(++number));
    }
    for (const Case& c : cases) {
        const std::string type = std::string("multipart/related; boundary=a") + c.start;
        EXPECT_EQ(ShowBodies(Reading(text + c.end, type.c_str()).part), c.bodies) << c.why;
    }
}

TEST_F(EntityReaderTest, AddsToWhatIsThere) {
    Part part;
    part.headers.FindOrInsert("X")->value.value = "kept";
    part.info.boundary = "old";
    part.AddPart(new Part);
    const std::string text =
        kTop + "--a\r\nContent-ID: i\r\n" + Leaf("1") + "--a\r\n" + Leaf("2") + "--a--";
    AnsiStr error;
    ASSERT_TRUE(
        part.Read(text.data(), text.size(), error, "multipart/related; boundary=a; start=i"));
    EXPECT_EQ(part.headers.Find("X")->value.value, "kept");
    EXPECT_EQ(part.info.boundary, "a");
    EXPECT_EQ(ShowBodies(part), "([1]()[2])");
}

TEST_F(EntityReaderTest, ReadsFiles) {
    const std::string path = folder_.At("message");
    const File file{AnsiStr(path)};
    AnsiStr error("left from before");
    Part none;
    EXPECT_FALSE(none.Read(file, error));
    EXPECT_EQ(ToString(error), "");

    WriteWholeFile(path, "");
    error = "left from before";
    EXPECT_FALSE(none.Read(file, error));
    EXPECT_EQ(ToString(error), "text boundary is missing");

    // A file that is read at once, and one that is mapped.
    for (const size_t size : {10u, 5'000'000u}) {
        const std::string body(size, 'x');
        WriteWholeFile(path, kTop + "--a\r\n" + Leaf(body) + "--a--");
        Part part;
        ASSERT_TRUE(part.Read(file, error)) << ToString(error);
        EXPECT_EQ(ShowBodies(part), "([" + body + "])");
    }
    WriteWholeFile(path, "--a--");
    Part apart;
    EXPECT_TRUE(apart.Read(file, error, "multipart/mixed; boundary=a")) << ToString(error);
}

TEST_F(EntityReaderTest, AMissingTemporaryFolderFailsTheWrite) {
    std::filesystem::remove(folder_.GetPath());
    const Reading got(kTop + "--a\r\n" + Leaf("1") + "--a--");
    EXPECT_FALSE(got.read);
    const uint32_t code = KivGuiBase::GetLastError();
    EXPECT_TRUE(code == KivGuiBase::kErrorFileNotFound || code == KivGuiBase::kErrorPathNotFound);
    EXPECT_EQ(got.error,
              "write failed (" + ToString(KivGuiBase::GetErrorMessage(code, 0, 1)) + ")");
    EXPECT_EQ(ShowBodies(got.part), "()");
    EXPECT_TRUE(Reading(kTop + "--a--").read) << "nothing to write";
}

// Different parts may be read at once: their files do not meet, though all have the same name.
TEST_F(EntityReaderTest, ConcurrentReadsShareNothing) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kReads = 50;
    std::atomic<unsigned> whole = 0;
    const auto read = [&](unsigned number) {
        const std::string body = "body of " + std::to_string(number);
        const std::string head = "--a\r\nContent-Disposition: x; filename=same.txt\r\n";
        for (unsigned i = 0; i < kReads; ++i) {
            const Reading got(kTop + head + Leaf(body) + "--a--");
            if (got.read && ShowBodies(got.part) == "([" + body + "])") ++whole;
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(read, i);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(whole, kThreads * kReads);
    EXPECT_EQ(folder_.List().size(), kThreads * kReads);
}

// -------------------------------------------------------------------------------------- scale --

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kDepth = 20'000;
#else
constexpr size_t kDepth = 1'000'000;
#endif

/// Entities in each other, as the writer lays them out; open at the innermost end.
std::string Nest(size_t depth) {
    std::string text;
    for (size_t i = 0; i < depth; ++i) {
        const std::string boundary = std::to_string(i % 10);
        text +=
            "Content-Type: multipart/x; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
    }
    return text + Leaf("leaf");
}

// A level costs memory, not stack: reading, writing and destroying must not recurse.
TEST_F(EntityReaderTest, DepthNeedsNoStack) {
    std::string text = Nest(kDepth);
    for (size_t i = kDepth; i-- > 0;) {
        text += "--" + std::to_string(i % 10) + (i > 0 ? "--\r\n\r\n" : "--\r\n");
    }
    Reading got(text);
    ASSERT_TRUE(got.read) << got.error;
    const Part* deepest = &got.part;
    size_t depth = 0;
    for (; !deepest->parts.IsEmpty(); deepest = deepest->parts[0]) ++depth;
    EXPECT_EQ(depth, kDepth);
    EXPECT_EQ(ShowBodies(*deepest), "[leaf]");
    const std::string path = folder_.At("written");
    ASSERT_TRUE(got.part.Write(File{AnsiStr(path)}));
    EXPECT_TRUE(ReadWholeFile(path) == text);
}

// All but the top entity is destroyed in the middle of the descent.
TEST_F(EntityReaderTest, DepthNeedsNoStackToFail) {
    const Reading got(Nest(kDepth / 4));
    EXPECT_FALSE(got.read);
    EXPECT_EQ(got.error, "data boundary is missing");
    EXPECT_TRUE(got.part.parts.IsEmpty());
}

// Children that all go to the front, and nested ones that are empty, so that no file is made.
TEST_F(EntityReaderTest, ManyChildrenMayCarryTheStartId) {
    constexpr unsigned kCount = 100'000;
    std::string text;
    for (unsigned i = 0; i < kCount; ++i) {
        text += "--a\r\nContent-ID: i\r\nX: " + std::to_string(i) +
                "\r\nContent-Type: multipart/x; boundary=b\r\n\r\n--b--\r\n";
    }
    const Reading got(text + "--a--", "multipart/related; boundary=a; start=i");
    ASSERT_TRUE(got.read) << got.error;
    ASSERT_EQ(got.part.parts.GetCount(), kCount);
    for (unsigned i = 0; i < kCount; i += 9999) {
        EXPECT_EQ(got.part.parts[i]->headers.Find("X")->value.value,
                  AnsiStr(std::to_string(kCount - 1 - i)));
    }
}

}  // namespace
}  // namespace MIME

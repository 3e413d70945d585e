// Part::Read without options. Whole messages are in data/: these are the rows that need no file.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "encoding/quoted_printable_reference.h"
#include "parser/reading.h"
#include "support/base64_reference.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using namespace std::string_literals;
using Test::Escape;
using Test::Lines;
using Test::QuotedPrintableReference;
using Test::Random;
using Test::Reading;
using Test::ReadWholeFile;
using Test::ReferenceEncodeBase64;
using Test::ShowFields;
using Test::TempFolder;
using Test::ToString;
using Test::WriteWholeFile;

constexpr const char* kType = "multipart/related; boundary=a";
const std::string kInner = Lines({"Content-Type: multipart/mixed; boundary=b", ""});
const std::string kBase64 = "--a\r\nContent-Transfer-Encoding: base64\r\n\r\n";
const std::string kPrintable = "--a\r\nContent-Transfer-Encoding: Quoted-Printable\r\n\r\n";

/// A leaf without header fields, up to the boundary line after it.
std::string Leaf(const std::string& body) {
    return "\r\n" + body + "\r\n";
}

TEST(ExactRulesTest, AddsToWhatIsThere) {
    const TempFolder folder;
    Part part;
    part.headers.FindOrInsert("X")->value.value = "kept";
    part.info.boundary = "old";
    part.info.contentType.type = Type::audio;
    part.AddPart(new Part);
    const std::string text =
        "--a\r\nContent-ID: i\r\n" + Leaf("1") + "--a\r\n" + Leaf("2") + "--a--";
    AnsiStr error;
    ASSERT_TRUE(
        part.Read(text.data(), text.size(), error, "multipart/related; boundary=a; start=i"));
    EXPECT_EQ(ShowFields(part.headers),
              "Content-Type=multipart/related; boundary=a; start=i|X=kept");
    EXPECT_EQ(part.info.boundary, "a");
    EXPECT_EQ(part.info.contentType.type, Type::audio);
    ASSERT_EQ(part.parts.GetCount(), 3u);
    EXPECT_EQ(part.parts[0]->headers.Find("Content-ID")->value.value, "i");
    EXPECT_TRUE(part.parts[1]->data.file.IsEmpty());
}

// -------------------------------------------------------------------------------------- bodies --

TEST(ExactRulesTest, QuotedPrintableTextLikeTheReference) {
    constexpr std::string_view kAlphabets[] = {"abc=4G\r\n- ", "=\r\n",
                                               "abcdefghijklmnopqrstuvwxyz4="};
    Random random(5);
    for (int round = 0; round < 200; ++round) {
        std::string text, want;
        for (size_t count = random.Below(60); count > 0; --count) {
            const std::string_view alphabet = kAlphabets[random.Below(std::size(kAlphabets))];
            text += "x" + random.Text(random.Below(60), alphabet) + "=\r\n";
        }
        for (size_t at = 0, end; at < text.size(); at = end + 2) {
            end = text.find("\r\n", at);
            want += QuotedPrintableReference::DecodeLine(text.substr(at, end - at));
        }
        if (text.find("\r\n--a") != std::string::npos) continue;
        const Reading got(kPrintable + text + "--a--", kType);
        ASSERT_EQ(got.error, "") << Escape(text);
        ASSERT_EQ(ReadWholeFile(ToString(got.part.parts[0]->data.file.GetPath())), want)
            << Escape(text);
    }
}

// Where one copied piece ends and the next begins, with the line end and the delimiter across it.
TEST(ExactRulesTest, LongCopiedBodiesAreWhole) {
    for (const size_t piece : {5000u, 0x80000u, 525'000u, 1'050'000u}) {
        for (size_t size = piece - 8; size <= piece + 3; ++size) {
            const std::string body(size, '\r');
            const Reading got("--a\r\n\r\n" + body + "\r\n--a--", kType);
            ASSERT_TRUE(got.read) << size << ": " << got.error;
            ASSERT_TRUE(ReadWholeFile(ToString(got.part.parts[0]->data.file.GetPath())) == body)
                << size;
        }
    }
}

// A copied body without a boundary is kept in whole spans of 5,000 bytes or one delimiter.
TEST(ExactRulesTest, WholeSpansOfAnUnfinishedBodyAreKept) {
    const size_t cases[][3] = {// boundary, text, kept
                               {1, 5002, 0},
                               {1, 5003, 5000},
                               {1, 525'002, 520'000},
                               {1, 525'003, 525'000},
                               {4998, 9999, 0},
                               {4998, 10'000, 5000},
                               {6000, 12'003, 0},
                               {6000, 12'004, 6002},
                               {1, 1'050'002, 1'045'000},
                               {600'000, 1'800'006, 1'200'004}};
    for (const auto& [boundarySize, size, kept] : cases) {
        const std::string boundary(boundarySize, 'b');
        const Reading got("--" + boundary + "\r\n\r\n" + std::string(size, '-'),
                          ("multipart/x; boundary=" + boundary).c_str());
        EXPECT_EQ(got.error, "data boundary is missing");
        ASSERT_EQ(got.folder.List().size(), 1u);
        EXPECT_EQ(ReadWholeFile(got.folder.At(got.folder.List()[0])).size(), kept)
            << size << ", boundary of " << boundarySize;
    }
}

// Lines longer than the pieces that are decoded at once, and bodies on both sides of the size from
// which a file is written as it grows.
TEST(ExactRulesTest, DecodesLongLinesAndLargeBodies) {
    Random random(3);
    struct Case {
        size_t line, count;
    };
    std::vector<Case> cases = {{60, 1}, {60, 80'000}, {300'000, 1}};
    for (const size_t limit : {0x4000u, 0x80000u}) {
        for (size_t size = limit - 3; size <= limit + 1; ++size) cases.push_back({size, 2});
    }
    for (const Case& c : cases) {
        const std::string line = random.Text(c.line, "abcdefgh ");
        const std::string bytes = random.Bytes(c.line / 4 * 3);
        const std::string encoded = ReferenceEncodeBase64(bytes, c.line, "\r\n") + "\r\n";
        std::string printable, base64, lines, decoded;
        for (size_t i = 0; i < c.count; ++i) {
            printable += "=41" + line + "\r\nx=\r\n";
            lines += "A" + line + "\r\nx";
            base64 += encoded;
            decoded += bytes;
        }
        for (const char* length : {"", "4194303", "4194304"}) {
            if (*length != '\0' && c.count < 80'000) continue;
            const std::string field = "--a\r\nContent-Length: "s + length;
            const Reading got(field + kPrintable.substr(3) + printable + field + kBase64.substr(3) +
                                  base64 + "--a--",
                              kType);
            ASSERT_EQ(got.error, "") << c.line;
            const auto& parts = got.part.parts;
            ASSERT_TRUE(ReadWholeFile(ToString(parts[0]->data.file.GetPath())) == lines) << c.line;
            ASSERT_TRUE(ReadWholeFile(ToString(parts[1]->data.file.GetPath())) == decoded)
                << c.line;
        }
    }
}

// --------------------------------------------------------------------------------------- files --

TEST(ExactRulesTest, ReadsFiles) {
    const TempFolder folder;
    const std::string path = folder.At("message");
    const File file{AnsiStr(path)};
    AnsiStr error("left from before");
    Part none;
    EXPECT_FALSE(none.Read(file, error));
    EXPECT_EQ(ToString(error), "");

    WriteWholeFile(path, "");
    EXPECT_FALSE(none.Read(file, error));
    EXPECT_EQ(ToString(error), "text boundary is missing");

    // A file that is read at once, and one that is mapped.
    for (const size_t size : {10u, 5'000'000u}) {
        const std::string body(size, 'x');
        WriteWholeFile(path, "--a\r\n" + Leaf(body) + "--a--");
        Part part;
        ASSERT_TRUE(part.Read(file, error, kType)) << ToString(error);
        EXPECT_TRUE(ReadWholeFile(ToString(part.parts[0]->data.file.GetPath())) == body);
    }
}

TEST(ExactRulesTest, AMissingTemporaryFolderFailsTheWrite) {
    const TempFolder folder;
    std::filesystem::remove(folder.GetPath());
    Part part;
    AnsiStr error;
    EXPECT_FALSE(part.Read("--a\r\n\r\nx\r\n--a--", 15, error, kType));
    const uint32_t code = KivGuiBase::GetLastError();
    EXPECT_TRUE(code == KivGuiBase::kErrorFileNotFound || code == KivGuiBase::kErrorPathNotFound);
    EXPECT_EQ(ToString(error),
              "write failed (" + ToString(KivGuiBase::GetErrorMessage(code, 0, 1)) + ")");
    EXPECT_TRUE(part.parts.IsEmpty());
    EXPECT_TRUE(part.Read("--a--", 5, error, kType)) << "nothing to write";
}

// Different parts may be read at once: their files do not meet, though all have the same name.
TEST(ExactRulesTest, ConcurrentReadsShareNothing) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kReads = 50;
    const TempFolder folder;
    std::atomic<unsigned> whole = 0;
    const auto read = [&](unsigned number) {
        const std::string body = "body of " + std::to_string(number);
        const std::string head = "--a\r\nContent-Disposition: x; filename=same.txt\r\n";
        const std::string text = head + Leaf(body) + "--a--";
        for (unsigned i = 0; i < kReads; ++i) {
            Part part;
            AnsiStr error;
            if (!part.Read(text.data(), text.size(), error, kType)) return;
            whole += ReadWholeFile(ToString(part.parts[0]->data.file.GetPath())) == body;
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(read, i);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(whole, kThreads * kReads);
    EXPECT_EQ(folder.List().size(), kThreads * kReads);
}

// -------------------------------------------------------------------------------------- scale --

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kDepth = 20'000;
#else
constexpr size_t kDepth = 300'000;
#endif

// A level costs memory, not stack: reading, both writers and destroying must not recurse.
TEST(ExactRulesTest, DepthNeedsNoStack) {
    std::string text;
    for (size_t i = 0; i < kDepth; ++i) {
        const std::string boundary = std::to_string(i % 10);
        text +=
            "Content-Type: multipart/x; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
    }
    text += Leaf("leaf");
    {
        // All but the top entity is destroyed in the middle of the descent.
        const Reading cutOff(text);
        EXPECT_EQ(cutOff.error, "data boundary is missing");
        EXPECT_TRUE(cutOff.part.parts.IsEmpty());
    }
    for (size_t i = kDepth; i-- > 0;) {
        text += "--" + std::to_string(i % 10) + (i > 0 ? "--\r\n\r\n" : "--\r\n");
    }
    Reading got(text);
    ASSERT_TRUE(got.read) << got.error;
    const Part* deepest = &got.part;
    size_t depth = 0;
    for (; !deepest->parts.IsEmpty(); deepest = deepest->parts[0]) ++depth;
    EXPECT_EQ(depth, kDepth);
    const std::string path = got.folder.At("written");
    ASSERT_TRUE(got.part.Write(File{AnsiStr(path)}));
    EXPECT_TRUE(ReadWholeFile(path) == text);
    EXPECT_FALSE(got.part.Serialize(false).IsEmpty());
}

// A million fields, a field of 10 MB, 100,000 parameters, 100,000 children that all go to the
// front: nothing here is quadratic.
TEST(ExactRulesTest, LargeIsNotSlow) {
    constexpr unsigned kMany = 100'000;
    std::string text;
    for (unsigned i = 0; i < 10 * kMany; ++i) text += "X" + std::to_string(i) + ":1\r\n";
    text += "Long:" + std::string(10'000'000, ';') + "\r\nMany:v";
    for (unsigned i = 0; i < kMany; ++i) text += ";" + std::to_string(i) + "=1";
    text += "\r\nContent-Type: multipart/related; boundary=a; start=i\r\n\r\n";
    for (unsigned i = 0; i < kMany; ++i) {
        text += "--a\r\nContent-ID: i\r\nX: " + std::to_string(i) + "\r\n" + kInner + "--b--\r\n";
    }
    const Reading got(text + "--a--");
    ASSERT_TRUE(got.read) << got.error;
    unsigned fields = 0;
    for ([[maybe_unused]] const HeaderMap::Node& field : got.part.headers) ++fields;
    EXPECT_EQ(fields, 10 * kMany + 4);
    EXPECT_EQ(got.part.headers.Find("long")->value.value.GetLength(), 10'000'000u);
    unsigned parameters = 0;
    for ([[maybe_unused]] const auto& node : got.part.headers.Find("many")->value.parameters) {
        ++parameters;
    }
    EXPECT_EQ(parameters, kMany);
    ASSERT_EQ(got.part.parts.GetCount(), kMany);
    for (unsigned i = 0; i < kMany; i += 9999) {
        EXPECT_EQ(got.part.parts[i]->headers.Find("X")->value.value,
                  AnsiStr(std::to_string(kMany - 1 - i)));
    }
}

}  // namespace
}  // namespace MIME

// Part::Read with options. What the mail rules make of a text is in data/mail; these are the limits,
// the report's own limit, and where bodies go.

#include <gtest/gtest.h>

#include <string>

#include "parser/reading.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::ToString;

const std::string kTop = "Content-Type: multipart/mixed; boundary=a\n\n";  // 43 bytes
const std::string kInner = "Content-Type: multipart/x; boundary=b\n\n";

struct MailReading {
    explicit MailReading(std::string_view text, const ReadOptions& options = ReadOptions::Mail(),
                         const char* contentType = nullptr) {
        AnsiStr message;
        read = part.Read(text.data(), text.size(), message, options, &report, contentType);
        error = ToString(message);
    }

    Part part;
    bool read;
    std::string error;
    ReadReport report;
};

TEST(MailRulesTest, NothingIsLost) {
    const std::string header =
        "Received: by a;\n\tx\nX-1 : \xE9\nReceived: by b\nContent-Type: multipart/mixed; "
        "boundary=a\n";
    const MailReading got("From x\n" + header + "\nbefore\n\n--a\nX: 1\n\n1\n--a--\nbehind\n");
    ASSERT_TRUE(got.read) << got.error;
    const FieldList& fields = got.part.fields;
    std::string shown;
    for (unsigned i = 0; i < fields.GetCount(); ++i) {
        shown += Escape(fields[i].name) + "=" + Escape(fields[i].value) + "|";
    }
    EXPECT_EQ(shown,
              "Received=by a;\\n\\tx|X-1=\\xe9|Received=by b|"
              "Content-Type=multipart/mixed; boundary=a|");
    EXPECT_EQ(fields.GetText(), "From x\n" + header);
    EXPECT_EQ(got.part.preamble, "before\n");
    EXPECT_EQ(got.part.epilogue, "behind\n");
    EXPECT_EQ(got.part.parts[0]->fields.GetText(), "X: 1\n");
}

TEST(MailRulesTest, TheContentTypeMayBeApart) {
    const MailReading got("--a\n\n1\n--a--\n", ReadOptions::Mail(), "multipart/mixed; boundary=a");
    ASSERT_TRUE(got.read) << got.error;
    EXPECT_EQ(got.part.info.contentType.str, "multipart/mixed");
    ASSERT_EQ(got.part.parts.GetCount(), 1u);
    EXPECT_EQ(ReadWholeFile(ToString(got.part.parts[0]->data.file.GetPath())), "1");
    EXPECT_FALSE(MailReading("--b--", {}, "multipart/mixed; boundary=a").read) << "exact rules";
}

TEST(MailRulesTest, StopsAtLimits) {
    struct Case {
        const char* error;
        void (*set)(ReadOptions&);
        unsigned long long offset;
        const char* path;
    };
    const std::string text = kTop + "--a\n" + kInner +
                             "--b\nX: 1\nY: 2\n\n12345\n--b\n"
                             "Content-Transfer-Encoding: base64\n\nQUJDREVG\n--b--\n--a--\n";
    const Case cases[] = {
        {"limit reached: more than 2 levels of entities",
         [](ReadOptions& options) { options.maxDepth = 2; }, 90, "1"},
        {"limit reached: more than 2 entities", [](ReadOptions& options) { options.maxParts = 2; },
         90, "1"},
        {"limit reached: more than 1 fields in a header block",
         [](ReadOptions& options) { options.maxFields = 1; }, 100, "1.1"},
        {"limit reached: more than 41 bytes in a header block",
         [](ReadOptions& options) { options.maxHeaderBytes = 41; }, 42, ""},
        {"limit reached: more than 4 bytes of bodies",
         [](ReadOptions& options) { options.maxDecodedBytes = 4; }, 101, "1.1"},
        {"limit reached: more than 10 bytes of bodies",
         [](ReadOptions& options) { options.maxDecodedBytes = 10; }, 155, "1.2"},
    };
    for (const Case& c : cases) {
        ReadOptions options = ReadOptions::Mail();
        c.set(options);
        const MailReading got(text, options);
        EXPECT_FALSE(got.read) << c.error;
        EXPECT_EQ(got.error, c.error);
        EXPECT_TRUE(got.report.failed);
        EXPECT_EQ(got.report.failureOffset, c.offset) << c.error;
        EXPECT_EQ(got.report.failurePath, c.path) << c.error;
    }
    ReadOptions options;
    options.rules = Rules::mail;
    options.maxDepth = 3;
    options.maxParts = 4;
    options.maxFields = 2;
    options.maxHeaderBytes = 42;
    options.maxDecodedBytes = 11;
    const MailReading got(text, options);
    EXPECT_TRUE(got.read) << "just at the limits: " << got.error;
}

TEST(MailRulesTest, AnMboxLineCountsForTheHeaderLimit) {
    const MailReading got("From " + std::string(0x500000, 'f') + "\nX: 1\n\n");
    EXPECT_EQ(got.error, "limit reached: more than 4194304 bytes in a header block");
    EXPECT_EQ(got.report.failureOffset, 0u);
}

TEST(MailRulesTest, BoundaryLinesEndInAnyNumberOfBlanks) {
    for (const size_t count : std::initializer_list<size_t>{1, 5, 6, 7, 8, 9, 1000}) {
        const std::string blanks(count, ' ');
        for (const std::string& end : {blanks + "\n", blanks + "\r\n", blanks + "x\n"}) {
            const MailReading got(kTop + "--a" + end + "\n1\n--a--" + end);
            EXPECT_EQ(got.part.parts.GetCount(), end.ends_with("x\n") ? 0u : 1u) << count;
            EXPECT_EQ(got.part.epilogue, "") << count;
        }
    }
}

TEST(MailRulesTest, TheReportKeepsTheFirstDeviations) {
    constexpr unsigned kLeaves = ReadReport::kMaxEntries + 5;
    std::string text = kTop;
    for (unsigned i = 0; i < kLeaves; ++i) {
        text += "--a\nContent-Transfer-Encoding: x\n\n\n";
    }
    text += "--a\nContent-Type: a/b\nContent-Type: c/d\n\n\n--a--\n";
    ReadOptions options = ReadOptions::Mail();
    options.bodies = Bodies::memory;
    const MailReading got(text, options);
    ASSERT_TRUE(got.read) << got.error;
    ASSERT_EQ(got.report.deviations.GetCount(), ReadReport::kMaxEntries);
    EXPECT_EQ(got.report.deviations[999].path, "999") << "the first entry is the line ends'";
    EXPECT_EQ(got.report.omitted, 7u);
    EXPECT_EQ(got.report.worst, Deviation::Severity::ambiguous);
}

// Any sender can have a message refused; hosts look at what is there all the same.
TEST(MailRulesTest, ARefusedHeaderBlockCanBeLookedAt) {
    std::string many;
    for (unsigned i = 0; i < 10001; ++i) many += "X: 1\n";
    const std::string large = "X: 1\nY: " + std::string(0x400000, 'y') + "\n";
    for (const std::string& block : {many, large, "X: 1\n" + std::string(0x500000, 'z')}) {
        const MailReading got(block + "\n");
        EXPECT_TRUE(got.error.starts_with("limit reached: more than ")) << got.error;
        EXPECT_LE(got.report.failureOffset, 0x400010u) << "the rest is not looked at";
        const FieldList& fields = got.part.fields;
        ASSERT_GT(fields.GetCount(), 0u);
        for (unsigned i = 0; i < fields.GetCount(); ++i) {
            ASSERT_EQ(fields[i].name, "X");
            ASSERT_EQ(fields[i].value, "1");
        }
    }
}

TEST(MailRulesTest, PathsOfDeepEntitiesHaveALimit) {
    std::string text;
    for (unsigned i = 0; i < 3000; ++i) {
        const std::string boundary = "b" + std::to_string(10000 + i);
        text += "Content-Type: multipart/x; boundary=" + boundary + "\n\n--" + boundary + "\n";
    }
    ReadOptions options = ReadOptions::Mail();
    options.maxDepth = 0;
    const MailReading got(text + "\nx\n", options);
    ASSERT_TRUE(got.read) << got.error;
    size_t paths = 0;
    for (const ReadReport::Entry& entry : got.report.deviations) paths += entry.path.GetLength();
    EXPECT_LE(paths, ReadReport::kMaxPathText);
    EXPECT_EQ(got.report.deviations.GetCount() + got.report.omitted, 3001u);  // ends, and LF
    EXPECT_GT(got.report.omitted, 2000u);
}

TEST(MailRulesTest, BodiesStayInMemoryUpToTheLimit) {
    const TempFolder folder;
    ReadOptions options = ReadOptions::Mail();
    options.bodies = Bodies::memory;
    options.memoryLimit = 10;
    const MailReading got(kTop +
                              "--a\n\n0123456789\n--a\n\n0123456789x\n--a\n"
                              "Content-Transfer-Encoding: base64\n\nMDEyMzQ1Njc4OXg=\n--a--",
                          options);
    ASSERT_TRUE(got.read) << got.error;
    EXPECT_EQ(got.part.parts[0]->data.content, "0123456789");
    EXPECT_TRUE(got.part.parts[0]->data.file.IsEmpty());
    for (const unsigned i : {1u, 2u}) {
        const Data& data = got.part.parts[i]->data;
        EXPECT_TRUE(data.content.IsEmpty());
        EXPECT_EQ(ReadWholeFile(ToString(data.file.GetPath())), "0123456789x");
    }
}

TEST(MailRulesTest, FilesAreRemovedWithTheTreeAndAfterAFailure) {
    const std::string text = kTop + "--a\n\n1\n--a\n" + kInner + "--b\n\n2\n--b\n\nQUJD\n";
    struct Case {
        bool owns, removes;
        unsigned maxParts;
        size_t during, after;  // files
    };
    const Case cases[] = {
        {true, true, 0, 3, 0},  {false, true, 0, 3, 3},  {true, true, 4, 0, 0},
        {false, true, 4, 0, 0}, {false, false, 4, 2, 2}, {true, false, 4, 1, 0},
    };
    for (const Case& c : cases) {
        const TempFolder folder;
        ReadOptions options = ReadOptions::Mail();
        options.maxParts = c.maxParts;
        options.ownFiles = c.owns;
        options.removeFilesOnFailure = c.removes;
        {
            const MailReading got(text, options);
            EXPECT_EQ(got.read, c.maxParts == 0);
            ASSERT_FALSE(got.part.parts.IsEmpty());
            EXPECT_EQ(got.part.parts[0]->data.file.IsEmpty(), c.during == 0);
            EXPECT_EQ(folder.List().size(), c.during) << c.owns << c.removes << c.maxParts;
        }
        EXPECT_EQ(folder.List().size(), c.after) << c.owns << c.removes << c.maxParts;
    }
}

}  // namespace
}  // namespace MIME

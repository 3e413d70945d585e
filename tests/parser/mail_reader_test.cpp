// Reading with options: mail as it travels, what is tolerated and reported, and the limits.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "mime/mime.h"
#include "parser/reading.h"

namespace MIME {
namespace {

using namespace std::string_literals;
using Test::Escape;
using Test::Lines;
using Test::Random;
using Test::ReadWholeFile;
using Test::ShowFields;
using Test::TempFolder;
using Test::ToString;

ReadOptions MailInMemory() {
    ReadOptions options = ReadOptions::Mail();
    options.bodies = MIME::Bodies::memory;
    return options;
}

/// One reading with options, shown as texts.
struct MailReading {
    explicit MailReading(std::string_view text, const ReadOptions& options = MailInMemory()) {
        AnsiStr message;
        read = part.Read(text.data(), text.size(), message, options, &report);
        error = ToString(message);
    }

    /// "type[body]" for a leaf, "type(...)" around children.
    static std::string ShowTree(const Part& part) {
        std::string shown = ToString(part.info.contentType.GetStr());
        if (part.parts.IsEmpty() && part.info.boundary.IsEmpty()) {
            return shown + "[" + Escape(part.data.content) + "]";
        }
        shown += "(";
        for (const Part* child : part.parts) {
            if (shown.back() != '(') shown += " ";
            shown += ShowTree(*child);
        }
        return shown + ")";
    }

    /// "kind@offset" of each deviation but the line ends, ":path" behind those below the top.
    std::string ShowReport() const {
        std::string shown;
        for (const ReadReport::Entry& entry : report.deviations) {
            if (entry.kind == Deviation::lineFeed) continue;
            if (!shown.empty()) shown += " ";
            shown += ToString(Deviation::GetName(entry.kind)) + "@" + std::to_string(entry.offset);
            if (!entry.path.IsEmpty()) shown += ":" + ToString(entry.path);
        }
        return shown;
    }

    Part part;
    bool read;
    std::string error;
    ReadReport report;
};

const std::string kTop = "Content-Type: multipart/mixed; boundary=a\n\n";  // 43 bytes
const std::string kInner = "Content-Type: multipart/x; boundary=b\n\n";

TEST(MailReaderTest, ReadsWhatTravels) {
    struct Case {
        const char* why;
        std::string text;
        const char* tree;
        const char* report;
    };
    const Case cases[] = {
        {"a single part, RFC 5322's own example in short", "Subject: x\r\n\r\nbody\r\n",
         "text/plain[body\\r\\n]", ""},
        {"no body", "Subject: x\n", "text/plain[]", "headerCutOff@11"},
        {"nothing at all", "", "text/plain[]", "headerCutOff@0"},
        {"an mbox line", "From a@b Fri\nSubject: x\n\nbody", "text/plain[body]", "mboxLine@0"},
        {"text that is no field begins the body", "Subject: x\nHello world\nSubject: y\n",
         "text/plain[Hello world\\nSubject: y\\n]", "bodyWithoutBlankLine@11"},
        {"a folded type, comments, a quoted boundary",
         "Content-Type: (c(d)) multipart/mixed (e);\r\n\tcharset=x (f);\r\n boundary=\"a "
         "\\\"b\"\r\n"
         "\r\n--a \"b\r\n\r\n1\r\n--a \"b--\r\n",
         "multipart/mixed(text/plain[1])", ""},
        {"a boundary in sections (RFC 2231)",
         "Content-Type: multipart/mixed; boundary*0=a; boundary*1*=%62\n\n--ab\n\n1\n--ab--",
         "multipart/mixed(text/plain[1])", ""},
        {"a type without \";\"", "Content-Type: text/html charset=x\n\n1", "text/html[1]", ""},
        {"the line end before a delimiter is the delimiter's, the one before that is not",
         kTop + "--a\n\n1\n\n--a\n\n\n--a\n\n--a--",
         "multipart/mixed(text/plain[1\\n] text/plain[] "
         "text/plain[])",
         ""},
        {"blanks behind delimiters; text behind the last one",
         kTop + "pre\n--a \t\n\n1\n--a-- \npost", "multipart/mixed(text/plain[1])", ""},
        {"only whole lines are delimiters", kTop + "--a\n\n--ab\nx--a\n----a\n1\n--a--",
         "multipart/mixed(text/plain[--ab\\nx--a\\n----a\\n1])",
         "delimiterWithTail@48:1 delimiterInsideLine@54:1"},
        {"a boundary that ends in blanks",
         "Content-Type: multipart/x; boundary=\"a \"\n\n--a \n\n1\n--a --",
         "multipart/x(text/plain[1])", ""},
        {"no closing delimiter", kTop + "--a\n\n1\n--a\n\n2\n",
         "multipart/mixed(text/plain[1] text/plain[2\\n])", "missingEnd@57"},
        {"an outer delimiter ends inner entities",
         kTop + "--a\n" + kInner + "--b\n\n1\n--a\n\n2\n--a--",
         "multipart/mixed(multipart/x(text/plain[1]) text/plain[2])", "missingInnerEnd@93:1"},
        {"the same boundary on two levels belongs to the inner one first",
         kTop + "--a\n" + kTop + "--a\n\n1\n--a--\n--a\n\n2\n--a--\n",
         "multipart/mixed(multipart/mixed(text/plain[1]) text/plain[2])", "boundaryIsPrefix@90:1"},
        {"no boundary", "Content-Type: multipart/mixed\n\n--a\n\n1\n",
         "multipart/mixed[--a\\n\\n1\\n]", "unusableBoundary@0"},
        {"a boundary that never comes, inside", kTop + "--a\n" + kInner + "1\n--a--\n",
         "multipart/mixed(multipart/x[1])", "unusedBoundary@86:1"},
        {"a boundary that only closes", kTop + "1\n--a--\n2\n", "multipart/mixed[1\\n--a--\\n2\\n]",
         "unusedBoundary@43"},
        {"two delimiters in a row", kTop + "--a\n--a\n\n1\n--a\n--a--\n",
         "multipart/mixed(text/plain[1])", "doubledDelimiter@47"},
        {"a header block that a delimiter cuts off", kTop + "--a\nX: 1\n--a\n\n2\n--a--",
         "multipart/mixed(text/plain[] text/plain[2])", "headerCutOff@52:1"},
        {"an enclosed message, with its mbox line",
         kTop + "--a\nContent-Type: message/rfc822\n\n>From x\nSubject: y\n\n1\n--a--",
         "multipart/mixed(message/rfc822(text/plain[1]))", "mboxLine@77:1.1"},
        {"messages in messages",
         "Content-Type: message/rfc822\n\nContent-Type: Message/Global\n\n" + kTop +
             "--a\n\n1\n--a--\n",
         "message/rfc822(Message/Global(multipart/mixed(text/plain[1])))", ""},
        {"a digest holds messages",
         "Content-Type: multipart/digest; boundary=a\n\n--a\n\nSubject: x\n"
         "\n1\n--a\nContent-Type: text/plain\n\n2\n--a--",
         "multipart/digest(message/rfc822(text/plain[1]) text/plain[2])", ""},
        {"a message that is encoded stays a body",
         "Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\nQTogMQ==",
         "message/rfc822[A: 1]", "encodedMessage@0"},
        {"Content-Length does not count", "Content-Length: 1\n\n1234", "text/plain[1234]",
         "contentLengthDisagrees@19"},
        {"an unknown encoding", "Content-Transfer-Encoding: x-new\n\n=41", "text/plain[=41]",
         "unknownTransferEncoding@0"},
        {"a uuencoded body", "Content-Transfer-Encoding: x-uuencode\n\nbegin", "text/plain[begin]",
         "uuencodedBody@0"},
        {"an encoding with a comment", "Content-Transfer-Encoding: BASE64 (x)\n\nQQ==\n",
         "text/plain[A]", ""},
        {"an empty base64 body", "Content-Transfer-Encoding: base64\n\n", "text/plain[]", ""},
        {"base64 with rubbish, a second run, no padding",
         "Content-Transfer-Encoding: base64\n\nQ Q=\n=-Qk\tI=\nQw", "text/plain[ABBC]",
         "base64Rubbish@41 base64Padding@50 base64AfterPadding@42"},
        {"quoted-printable with blanks at line ends, LF and a bad escape",
         "Content-Transfer-Encoding: quoted-printable\n\na \t\nb= \nc=xd=e9\n",
         "text/plain[a\\nbc=xd\\xe9\\n]", "quotedPrintableEscape@54"},
        {"many blanks at the end of quoted-printable",
         "Content-Transfer-Encoding: quoted-printable\n\na                    ", "text/plain[a]",
         ""},
        {"NULs in a body", "A: 1\n\n\0x\0"s, "text/plain[\\x00x\\x00]", ""},
    };
    for (const Case& c : cases) {
        const MailReading got(c.text);
        EXPECT_TRUE(got.read) << c.why << ": " << got.error;
        EXPECT_EQ(MailReading::ShowTree(got.part), c.tree) << c.why;
        EXPECT_EQ(got.ShowReport(), c.report) << c.why;
    }
}

TEST(MailReaderTest, ReadsFields) {
    struct Case {
        const char* why;
        std::string header;
        const char* fields;
        const char* report;
    };
    const Case cases[] = {
        {"folds go, their white space stays", "Subject: a\r\n b\r\n\t c \r\n", "Subject=a b\\t c",
         ""},
        {"text is not split", "Subject: a; b=c; \"d\"\n", "Subject=a; b=c; \\\"d\\\"", ""},
        {"the first of a repeated field counts", "X: 1\nX: 2\n", "X=1", ""},
        {"a second type", "Content-Type: text/html\nContent-Type: text/plain\n",
         "Content-Type=text/html", "repeatedContentType@38"},
        {"encoded words", "Subject: =?utf-8?Q?=C3=A9?= =?iso-8859-1?b?6Q==?= x\n",
         "Subject=\\xc3\\xa9\\xc3\\xa9 x", ""},
        {"a name that needs quotes", "From: =?utf-8?Q?Doe=2C_J?= <a@b>\n",
         "From=\\\"Doe, J\\\" <a@b>", ""},
        {"sections and the plain form",
         "Content-Disposition: attachment; filename=old; "
         "filename*0*=utf-8''%C3; filename*1*=%A9.txt\n",
         "Content-Disposition=attachment; filename=\\xc3\\xa9.txt", "repeatedParameter@21"},
        {"an encoded word in a file name",
         "Content-Disposition: x; filename=\"=?utf-8?Q?=C3=A9?=\"\n",
         "Content-Disposition=x; filename=\\xc3\\xa9", "encodedWordInFileName@21"},
        {"bare values with blanks, brackets and more",
         "Content-Disposition: x; filename=a (1).txt;;"
         " filename=b; size =3 (c)\n",
         "Content-Disposition=x; filename=a .txt; size=3", "repeatedParameter@21"},
        {"two names", "Content-Type: a/b; name=x\nContent-Disposition: y; filename=z\n",
         "Content-Disposition=y; filename=z|Content-Type=a/b; name=x", "conflictingFileNames@0"},
        {"blanks before the colon, and no name", "From : x\n: y\n", "From=x",
         "malformedFieldName@0"},
        {"a blank-looking line", "A: 1\n \nB: 2\n", "A=1|B=2", "blankLineInHeader@5"},
        {"a continuation of nothing", " x\nA: 1\n", "A=1", "malformedFieldName@0"},
        {"bare CR and NUL", "A: 1\r2\nB: 3\0\n"s, "A=1\\r2|B=3\\x00",
         "bareCarriageReturn@4 nulInHeader@11"},
    };
    for (const Case& c : cases) {
        MailReading got(c.header + "\n");
        ASSERT_TRUE(got.read) << c.why << ": " << got.error;
        EXPECT_EQ(ShowFields(got.part.headers), c.fields) << c.why;
        EXPECT_EQ(got.ShowReport(), c.report) << c.why;
    }
}

TEST(MailReaderTest, NothingIsLost) {
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

TEST(MailReaderTest, StopsAtLimits) {
    struct Case {
        const char* error;
        void (*set)(ReadOptions&);
        unsigned long long offset;
        const char* path;
    };
    const std::string text = kTop + "--a\n" + kInner + "--b\nX: 1\nY: 2\n\n12345\n--b--\n--a--\n";
    const Case cases[] = {
        {"limit reached: more than 2 levels of entities",
         [](ReadOptions& options) { options.maxDepth = 2; }, 90, "1"},
        {"limit reached: more than 2 entities", [](ReadOptions& options) { options.maxParts = 2; },
         90, "1"},
        {"limit reached: more than 1 fields in a header block",
         [](ReadOptions& options) { options.maxFields = 1; }, 100, "1.1"},
        {"limit reached: more than 42 bytes in a header block",
         [](ReadOptions& options) { options.maxHeaderBytes = 42; }, 0, nullptr},
        {"limit reached: more than 4 bytes of bodies",
         [](ReadOptions& options) { options.maxDecodedBytes = 4; }, 101, "1.1"},
    };
    for (const Case& c : cases) {
        ReadOptions options = MailInMemory();
        c.set(options);
        const MailReading got(text, options);
        if (c.path == nullptr) {
            EXPECT_TRUE(got.read) << "just at the limit: " << got.error;
            continue;
        }
        EXPECT_FALSE(got.read) << c.error;
        EXPECT_EQ(got.error, c.error);
        EXPECT_TRUE(got.report.failed);
        EXPECT_EQ(got.report.failureOffset, c.offset) << c.error;
        EXPECT_EQ(got.report.failurePath, c.path) << c.error;
    }
    EXPECT_TRUE(MailReading(text).read);
}

TEST(MailReaderTest, BodiesStayInMemoryUpToTheLimit) {
    const TempFolder folder;
    ReadOptions options = MailInMemory();
    options.memoryLimit = 10;
    const std::string text = kTop +
                             "--a\n\n0123456789\n--a\n\n0123456789x\n--a\n"
                             "Content-Transfer-Encoding: base64\n\nMDEyMzQ1Njc4OXg=\n--a--";
    const MailReading got(text, options);
    ASSERT_TRUE(got.read) << got.error;
    EXPECT_EQ(MailReading::ShowTree(*got.part.parts[0]), "text/plain[0123456789]");
    EXPECT_TRUE(got.part.parts[0]->data.file.IsEmpty());
    for (const unsigned i : {1u, 2u}) {
        const Data& data = got.part.parts[i]->data;
        EXPECT_TRUE(data.content.IsEmpty());
        EXPECT_EQ(ReadWholeFile(ToString(data.file.GetPath())), "0123456789x");
    }
}

TEST(MailReaderTest, AFailedReadingCanRemoveItsFiles) {
    const std::string text = kTop + "--a\n\n1\n--a\n" + kInner + "--b\n\n2\n--b\n\nQUJD\n";
    for (const bool removes : {false, true}) {
        const TempFolder folder;
        ReadOptions options = ReadOptions::Mail();
        options.maxParts = 4;
        options.ownFiles = false;
        options.removeFilesOnFailure = removes;
        const MailReading got(text, options);
        EXPECT_FALSE(got.read);
        size_t files = 0;
        for ([[maybe_unused]] const auto& entry :
             std::filesystem::directory_iterator(folder.GetPath())) {
            ++files;
        }
        EXPECT_EQ(files, removes ? 0u : 2u);
        ASSERT_EQ(got.part.parts.GetCount(), 1u);
        EXPECT_EQ(got.part.parts[0]->data.file.IsEmpty(), removes);
    }
}

/// Makes trees as hosts build them, with everything that Serialize has to encode.
class TreeBuilder {
public:
    explicit TreeBuilder(uint64_t seed) : random_(seed) {}

    void Build(Part& part, unsigned depth) {
        part.headers.FindOrInsert("Subject")->value.value = MakeText();
        part.headers.FindOrInsert("X-Note")->value.value = MakeText();
        part.headers.FindOrInsert("From")->value.value =
            "\"Zo\xC3\xAB \\\"Q\\\"\" <zoe@example.net>";
        BuildBody(part, depth);
    }

private:
    void BuildBody(Part& part, unsigned depth) {
        if (depth > 0 && random_.Below(6) == 0) {
            part.info.contentType = {AnsiStr(), Type::message, SubType::rfc822};
            part.info.isMessage = true;
            Part* message = new Part;
            Build(*message, depth - 1);
            // Not AddPart: a message has no boundary.
            ASSERT_TRUE(part.parts.Add(message));
        } else if (depth > 0 && random_.Below(2) == 0) {
            part.info.contentType = {AnsiStr(), Type::multipart,
                                     random_.Below(2) == 0 ? SubType::mixed : SubType::alternative};
            for (size_t count = 1 + random_.Below(3); count > 0; --count) {
                Part* child = new Part;
                BuildBody(*child, depth - 1);
                part.AddPart(child);
            }
        } else {
            BuildLeaf(part);
        }
    }

    void BuildLeaf(Part& part) {
        constexpr TransferEncoding::keys kEncodings[] = {
            TransferEncoding::base64, TransferEncoding::quoted_printable, TransferEncoding::bit8};
        part.info.contentType = {AnsiStr(), Type::text, SubType::plain};
        part.info.transferEncoding = kEncodings[random_.Below(3)];
        part.info.charset = "utf-8";
        HeaderValue& shown = part.headers.FindOrInsert("Content-Disposition")->value;
        shown.value = "attachment";
        shown.parameters.FindOrInsert("filename")->value.value = MakeText();
        part.data.content = AnsiStr(std::string_view(MakeBody(part.info.transferEncoding)));
    }

    /// Text that a field can hold: words with single spaces between.
    AnsiStr MakeText() {
        constexpr const char* kWords[] = {"a",
                                          ("Gr\xC3\xBC\xC3\x9F"
                                           "e"),
                                          "\xE6\x97\xA5\xE6\x9C\xAC",
                                          ";x=1",
                                          "\"q\"",
                                          "b\\c",
                                          "(d)",
                                          "longer-than-most-words",
                                          "50%"};
        AnsiStr text = kWords[random_.Below(std::size(kWords))];
        for (size_t count = random_.Below(20); count > 0; --count) {
            text += ' ';
            text += kWords[random_.Below(std::size(kWords))];
        }
        return text;
    }

    /// Quoted-printable drops a byte-order mark and writes a CR or LF alone as it is encoded.
    std::string MakeBody(TransferEncoding::keys encoding) {
        const size_t size = random_.Below(400);
        if (encoding == TransferEncoding::base64) return random_.Bytes(size);
        std::string body = random_.Text(size, "ab =.-\n\xC3");
        for (size_t at = body.find('\n'); at != std::string::npos; at = body.find('\n', at + 2)) {
            body.insert(at, "\r");
        }
        return body;
    }

    Random random_;
};

/// What must survive: types, names, decoded fields, bodies. Fields without a value are none.
std::string Dump(const Part& part, const std::string& indent = "") {
    std::string dump = indent + ToString(part.info.contentType.GetStr()) + "\n";
    for (const char* name : {"Subject", "X-Note", "From", "Content-Disposition"}) {
        const HeaderMap::Node* field = part.headers.Find(name);
        if (field == nullptr || field->value.value.IsEmpty()) continue;
        dump += indent + name + "=" + Escape(field->value.value);
        for (const ParameterMap::Node& parameter : field->value.parameters) {
            dump += "; " + Escape(parameter.key) + "=" + Escape(parameter.value.value);
        }
        dump += "\n";
    }
    if (part.parts.IsEmpty()) dump += indent + "[" + Escape(part.data.content) + "]\n";
    for (const Part* child : part.parts) dump += Dump(*child, indent + "  ");
    return dump;
}

TEST(MailReaderTest, WhatSerializeWritesComesBack) {
    for (uint64_t seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        Part tree;
        TreeBuilder(seed).Build(tree, 4);
        const AnsiStr text = tree.Serialize(false);
        ASSERT_FALSE(text.IsEmpty());
        const MailReading got{std::string_view(text)};
        ASSERT_TRUE(got.read) << got.error;
        ASSERT_EQ(Dump(got.part), Dump(tree)) << text;
        EXPECT_EQ(got.ShowReport().find("@"), std::string::npos) << got.ShowReport();
    }
}

TEST(MailReaderTest, CarriedMessagesAreStreamedBack) {
    const TempFolder folder;
    const std::string text = "Content-Type: message/rfc822\n\n" + kTop +
                             "--a\nContent-Type: message/rfc822\n\nX: 1\n\n1\n--a" +
                             "\nContent-Type: multipart/digest; boundary=b\n\n--b\n\nX: "
                             "2\n\n2\n--b--\n--a\n\n3\n--a--\n";
    MailReading first(text);
    ASSERT_TRUE(first.read) << first.error;
    const File file(AnsiStr(std::string_view(folder.At("out"))));
    ASSERT_TRUE(first.part.Write(file));
    const MailReading again(ReadWholeFile(folder.At("out")));
    ASSERT_TRUE(again.read) << again.error;
    EXPECT_EQ(MailReading::ShowTree(first.part),
              "message/rfc822(multipart/mixed(message/rfc822(text/plain[1]) "
              "multipart/digest(message/rfc822(text/plain[2])) text/plain[3]))");
    EXPECT_EQ(MailReading::ShowTree(again.part), MailReading::ShowTree(first.part));
    EXPECT_EQ(again.ShowReport(), "");
}

}  // namespace
}  // namespace MIME

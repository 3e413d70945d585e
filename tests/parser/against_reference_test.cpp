// The reader against a second, simple one: every short text over a few tokens, and messages that
// were damaged at random. Result, message, tree, body files: all must be the same.

#include "support/reference_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "mime/mime.h"
#include "support/base64_reference.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::Dump;
using Test::Escape;
using Test::ForEachText;
using Test::PlainPart;
using Test::Random;
using Test::ReadByReference;
using Test::ReadWholeFile;
using Test::ReferenceEncodeBase64;
using Test::ReferenceResult;
using Test::TempFolder;
using Test::ToPlain;

struct Message {
    std::string text;
    const char* contentType;  // may be null
};

class AgainstReferenceTest : public testing::Test {
protected:
    /// Reads with both readers. @return whether they agree; the test has failed when not.
    bool Agree(const Message& message) {
        const ReferenceResult want = ReadByReference(message.text, message.contentType);
        Part part;
        AnsiStr error("left from before");
        // In a block of its size, so that a memory checker sees a read behind the text.
        const std::vector<char> text(message.text.begin(), message.text.end());
        const bool read = part.Read(text.data(), text.size(), error, message.contentType);
        const PlainPart got = ToPlain(part);
        std::vector<std::string> wantBodies = want.bodies;
        std::sort(wantBodies.begin(), wantBodies.end());
        // A file too many is seen by the next message, or at the end.
        std::vector<std::string> bodies;
        if (!wantBodies.empty()) bodies = TakeFiles();
        ++(read ? readCount_ : failCount_);
        if (read == want.read && error == std::string_view(want.error) && got == want.top &&
            bodies == wantBodies) {
            return true;
        }
        ADD_FAILURE() << "text \"" << Escape(message.text) << "\"\ncontent type "
                      << (message.contentType != nullptr ? message.contentType : "none")
                      << "\n---- got " << read << " \"" << Escape(error) << "\", " << bodies.size()
                      << " bodies\n"
                      << Dump(got) << "---- want " << want.read << " \"" << Escape(want.error)
                      << "\", " << wantBodies.size() << " bodies\n"
                      << Dump(want.top);
        return false;
    }

    /// Every text of up to `maxTokens` tokens, between `before` and `behind`.
    void AgreeOnAll(std::string_view before, const std::vector<std::string>& tokens,
                    size_t maxTokens, std::string_view behind, const char* contentType) {
        std::string places;
        for (size_t i = 0; i < tokens.size(); ++i) places += static_cast<char>(i);
        ForEachText(places, maxTokens, [&](std::string_view chosen) {
            std::string text(before);
            for (const char place : chosen) text += tokens[static_cast<size_t>(place)];
            text += behind;
            if (!HasFailure()) Agree({text, contentType});
        });
    }

    void TearDown() override { EXPECT_EQ(TakeFiles().size(), 0u); }

    size_t readCount_ = 0;
    size_t failCount_ = 0;

private:
    /// The sorted contents of the body files, which are removed.
    std::vector<std::string> TakeFiles() {
        std::vector<std::string> contents;
        for (const std::string& name : folder_.List()) {
            contents.push_back(ReadWholeFile(folder_.At(name)));
            std::filesystem::remove(MIME::Test::ToPath(folder_.At(name)));
        }
        std::sort(contents.begin(), contents.end());
        return contents;
    }

    TempFolder folder_;
};

const std::string kNul(1, '\0');

TEST_F(AgainstReferenceTest, BoundaryLines) {
    const std::vector<std::string> tokens = {"--a", "--", "a", "\r\n", "\r", "\n", kNul};
    AgreeOnAll("", tokens, 5, "", "multipart/x;boundary=a");
    AgreeOnAll("", {"--", "-", "\r\n", "x"}, 6, "", "multipart/x;boundary=\"--\"");
    EXPECT_GT(readCount_, 500u);
    EXPECT_GT(failCount_, 500u);
}

TEST_F(AgainstReferenceTest, HeaderBlocks) {
    const std::vector<std::string> tokens = {"a", ":", ";", "=", "\"", "\\", " ", "\r\n"};
    AgreeOnAll("x", tokens, 5, "\r\n\r\n", nullptr);
    const std::vector<std::string> ends = {"a:", "\r\n", "\r", "\n", kNul};
    AgreeOnAll("a:1\r\n", ends, 5, "", nullptr);
    EXPECT_EQ(readCount_, 0u);
}

TEST_F(AgainstReferenceTest, Bodies) {
    struct Case {
        const char* encoding;
        std::vector<std::string> tokens;
    };
    const Case cases[] = {
        {"binary", {"--a", "-", "\r\n", "\r", "\n", kNul, "x"}},
        {"base64", {"--a", "\r\n", "\r", kNul, "QUJD", "Q", "=", "*"}},
        {"quoted-printable", {"--a", "\r\n", "\r", kNul, "=", "4", "x"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.encoding);
        const std::string head =
            std::string("--a\r\nContent-Transfer-Encoding: ") + c.encoding + "\r\n\r\n";
        AgreeOnAll(head, c.tokens, 4, "", "multipart/x;boundary=a");
        AgreeOnAll(head, c.tokens, 4, "\r\n--a--\r\n", "multipart/x;boundary=a");
    }
    EXPECT_GT(readCount_, 1000u);
    EXPECT_GT(failCount_, 1000u);
}

// ----------------------------------------------------------------------------------- messages --

/// Makes messages that are mostly right.
class MessageMaker {
public:
    explicit MessageMaker(Random& random) : random_(random) {}

    std::string MakeMessage() { return MakeMultipart(Choose(boundaries_), 0); }

    /// Damages a text in one place.
    void Damage(std::string& text) {
        const size_t at = random_.Below(text.size() + 1);
        const size_t length = std::min(text.size() - at, random_.Below(5));
        switch (random_.Below(7)) {
            case 0:
                text.erase(at, length);
                break;
            case 1:
                text.resize(at);
                break;
            case 2:
                text.insert(at, text.substr(random_.Below(text.size() + 1), random_.Below(60)));
                break;
            case 3:
                text.replace(at, length, Choose(tokens_));
                break;
            case 4:
                text.insert(at, Choose(lines_));
                break;
            default:
                text.insert(at, Choose(tokens_));
        }
    }

private:
    const std::string& Choose(const std::vector<std::string>& texts) {
        return texts[random_.Below(texts.size())];
    }
    bool IsOneIn(size_t count) { return random_.Below(count) == 0; }

    std::string MakeMultipart(const std::string& boundary, size_t depth) {
        std::string text = Choose(fields_) + "Content-Type: multipart/related; boundary=\"" +
                           boundary + "\"" + Choose(starts_) + "\r\n\r\n" + Choose(gaps_);
        for (size_t i = random_.Below(4); i > 0; --i) {
            text += "--" + boundary + "\r\n";
            text += depth < 3 && IsOneIn(3) ? MakeMultipart(Choose(boundaries_), depth + 1)
                                            : MakeLeaf();
            text += "\r\n" + Choose(gaps_);
        }
        return text + "--" + boundary + "--\r\n";
    }

    std::string MakeLeaf() {
        std::string head = Choose(fields_) + Choose(fields_) + Choose(fields_);
        switch (random_.Below(3)) {
            case 0: {
                const std::string body = MakeRawBody();
                if (IsOneIn(4)) {
                    head += "content-length: " + std::to_string(body.size()) + "\r\n";
                }
                return head + "\r\n" + body;
            }
            case 1:
                return head + "Content-Transfer-Encoding: base64\r\n\r\n" + MakeBase64Body();
            default:
                return head + "Content-Transfer-Encoding: Quoted-Printable\r\n\r\n" +
                       random_.Text(random_.Below(80), "ab=4C. \r\n");
        }
    }

    std::string MakeRawBody() {
        if (IsOneIn(8)) {  // about as long as the pieces in which bodies are copied
            std::string body((1 + random_.Below(2)) * 5000 - 10 + random_.Below(20), 'x');
            return body + random_.Text(random_.Below(6), "-a\r\n");
        }
        return random_.Text(random_.Below(40), "ab-\r\n");
    }

    std::string MakeBase64Body() {
        std::string text = ReferenceEncodeBase64(random_.Bytes(random_.Below(70)));
        const size_t width = 1 + random_.Below(40);
        for (size_t at = width; at < text.size(); at += width + 2) text.insert(at, "\r\n");
        return text;
    }

    Random& random_;
    const std::vector<std::string> boundaries_ = {
        "a", "-", "--", "--a", "aa", "a--", ".", "b c", "=_0123456789abcdef0123456789abcdef"};
    const std::vector<std::string> starts_ = {"", "", "; start=\"<1>\"", "; Start=<1>; type=a/b"};
    const std::vector<std::string> gaps_ = {"", "", "", "\r\n", "text\r\n", "--x\r\n"};
    const std::vector<std::string> fields_ = {
        "",
        "",
        "Content-ID: <1>\r\n",
        "CONTENT-ID: <2>\r\n",
        "Content-Type: text/plain\r\n",
        "Content-Type: image/gif; name=\"a;b\"\r\n",
        "content-type: text/plain; a=1; A=2; b\r\n",
        "Content-Disposition: attachment; FileName=\"q\"\r\n",
        "Content-Transfer-Encoding: 8bit\r\n",
        "Content-Length: 3\r\n",
        "Subject: \"x \\\" y\"\r\n",
    };
    const std::vector<std::string> tokens_ = {
        "\r\n", "\r", "\n", kNul, "-",  "--", "--a", "\r\n--a", "--a--", "=",  "=\r\n",
        "=4",   "/",  ":",  ";",  "\"", "\\", " ",   "AAAA",    "AA==",  "QQ", "9"};
    const std::vector<std::string> lines_ = {
        "\r\n--a--\r\n",
        "Content-Length: 12\r\n",
        "Content-Transfer-Encoding: base64\r\n",
        "Content-Type: multipart/mixed; boundary=a\r\n\r\n",
        "\xEF\xBB\xBF\xFF",
    };
};

// To look for more, give another seed each time: --gtest_shuffle --gtest_repeat=100.
TEST_F(AgainstReferenceTest, DamagedMessages) {
    constexpr int kRounds = 12000;
    Random random(static_cast<uint64_t>(testing::UnitTest::GetInstance()->random_seed()));
    MessageMaker maker(random);
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        Message message{maker.MakeMessage(), nullptr};
        if (round % 8 == 0) {
            message.contentType = "multipart/mixed; boundary=a";
        }
        for (size_t i = random.Below(4); i > 0; --i) maker.Damage(message.text);
        Agree(message);
    }
    EXPECT_GT(readCount_, 1000u);
    EXPECT_GT(failCount_, 1000u);
}

TEST_F(AgainstReferenceTest, MessagesCutAtEveryByte) {
    Random random(1);
    MessageMaker maker(random);
    for (int i = 0; i < 12; ++i) {
        const std::string message = maker.MakeMessage();
        const size_t step = 1 + message.size() / 1000;
        for (size_t size = 0; size <= message.size() && !HasFailure(); size += step) {
            Agree({message.substr(0, size), nullptr});
        }
    }
}

}  // namespace
}  // namespace MIME

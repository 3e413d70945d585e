#include "mime/writing/body_encoder.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"
#include "mime/writing/write_failure.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::ForEachText;
using Test::Random;
using Test::TempFolder;
using Test::ToPath;
using Test::WriteWholeFile;

const std::vector<std::string> kBoundaries = {"b", "=20"};

/// Gives its bytes in pieces of any size, other ones in each pass.
class TornSource final : public BodySource {
public:
    TornSource(std::string bytes, size_t maxPiece) : bytes_(std::move(bytes)), max_(maxPiece) {}
    void Read(const Take& take) const override {
        for (size_t at = 0; at < bytes_.size();) {
            const size_t size = std::min(1 + random_.Below(max_), bytes_.size() - at);
            take(std::string_view(bytes_).substr(at, size));
            at += size;
        }
    }

private:
    std::string bytes_;
    size_t max_;
    mutable Random random_{4};
};

std::string ReadAll(const BodySource& source) {
    std::string all;
    source.Read([&](std::string_view piece) { all += piece; });
    return all;
}

std::string Encode(const BodySource& source, const BodyPlan& plan, std::string_view lineEnd) {
    std::string text;
    EncodeBody(source, plan, lineEnd, [&](std::string_view piece) { text += piece; });
    return text;
}

std::string MakeBody(Random& random) {
    static const std::vector<std::string> kUnits = {"\r\n", "\r\n",     "\r",
                                                    "\n",   ".",        "From ",
                                                    "--b",  "--=20",    "-- ",
                                                    "=",    " ",        "\t",
                                                    "\xFF", "\xC3\xA4", "\xF0\x9F\x98\x80",
                                                    "\x0C", "--",       std::string(1, '\0')};
    // Only a few kinds, so that one of them often decides alone.
    std::vector<std::string> units = {"\r\n"};
    for (size_t left = random.Below(5); left > 0; --left) {
        units.push_back(kUnits[random.Below(kUnits.size())]);
    }
    const size_t plain = 1 + random.Below(90);
    std::string body;
    for (size_t left = random.Below(40); left > 0; --left) {
        body += units[random.Below(units.size())] + std::string(random.Below(plain), 'x');
        if (random.Below(300) == 0) body += std::string(900 + random.Below(120), 'y');
    }
    return body;
}

void CheckLines(const std::string& text, const BodyPlan& plan) {
    const bool isIdentity = TransferEncoding::IsIdentity(plan.encoding);
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find("\r\n", at), text.size());
        const std::string line = text.substr(at, end - at);
        EXPECT_LE(line.size(), isIdentity ? 998u : 76u);
        EXPECT_EQ(line.find_first_of(std::string("\r\n\0", 3)), std::string::npos) << Escape(line);
        EXPECT_FALSE(line.starts_with("--b") || line.starts_with("--=20")) << Escape(line);
        at = end + 2;
    }
}

TEST(BodyEncoder, EveryBodyArrivesAsItWas) {
    Random random(12);
    std::set<std::pair<BodyForm, TransferEncoding::keys>> seen;
    for (unsigned round = 0; round < 30000; ++round) {
        const std::string body = MakeBody(random);
        const auto form = static_cast<BodyForm>(random.Below(3));
        const TornSource source(body, 1 + random.Below(300));
        const Result<BodyPlan> plan =
            Caught<BodyPlan>([&] { return PlanBody(source, form, kBoundaries); });
        if (!plan) {
            ASSERT_EQ(form, BodyForm::verbatim) << plan.error().GetText();
            continue;
        }
        seen.insert({form, plan->encoding});
        ASSERT_EQ(plan->size, body.size());
        ASSERT_EQ(plan->isUtf8, KivGuiBase::IsUtf8(body)) << Escape(body);
        ASSERT_EQ(plan->isAscii, KivGuiBase::IsAsciiText(body)) << Escape(body);
        const std::string text = Encode(source, *plan, "\r\n");
        ASSERT_EQ(text, Encode(*MakeViewSource(body), *plan, "\r\n")) << "pieces count";
        CheckLines(text, *plan);
        if (form == BodyForm::text) {
            EXPECT_FALSE(text.starts_with('.') || text.starts_with("From ") ||
                         text.find("\r\n.") != std::string::npos ||
                         text.find("\r\nFrom ") != std::string::npos ||
                         text.find(" \r\n") != std::string::npos || text.ends_with(' '));
        }
        const std::string before =
            "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
            "Content-Transfer-Encoding: " +
            std::string(TransferEncoding::GetStr(plan->encoding)) + "\r\n\r\n";
        const Result<Mail> mail = Mail::Parse(before + text + "\r\n--b--\r\n");
        ASSERT_EQ(mail->GetEntities().size(), 2u) << Escape(text);
        ASSERT_EQ(Escape(mail->FindByPath("1")->Decode()), Escape(body)) << Escape(text);
        if (HasFailure()) FAIL() << Escape(body) << "\n" << Escape(text);
    }
    EXPECT_EQ(seen.size(), 7u);  // text in three encodings, bytes and verbatim bodies in two
}

TEST(BodySource, LineEndsAreMadeCanonicalWhereverPiecesEnd) {
    ForEachText("\r\na\xEF\xBB\xBF", 5, [](std::string_view text) {
        std::string expected;
        for (size_t i = text.starts_with("\xEF\xBB\xBF") ? 3 : 0; i < text.size(); ++i) {
            const bool isLineEnd = text[i] == '\r' || text[i] == '\n';
            expected += isLineEnd ? "\r\n" : std::string(1, text[i]);
            if (text.substr(i).starts_with("\r\n")) ++i;
        }
        for (const size_t maxPiece : {size_t{1}, size_t{2}, size_t{9}}) {
            const auto source =
                MakeCanonicalSource(std::make_shared<TornSource>(std::string(text), maxPiece));
            ASSERT_EQ(Escape(ReadAll(*source)), Escape(expected)) << Escape(text);
        }
    });
}

TEST(BodySource, FilesThatCannotBeReadTwiceAlikeAreRefused) {
    const TempFolder folder;
    const std::string path = folder.At("x");
    const auto fail = [](const BodySource& source) {
        const Result<std::string> got = Caught<std::string>([&] { return ReadAll(source); });
        return got ? "read" : got.error().GetText();
    };
    const std::string bytes = Random(1).Bytes(200001);
    for (const std::string& changed :
         {bytes + "x", bytes.substr(1), "x" + bytes.substr(1), std::string()}) {
        WriteWholeFile(path, bytes);
        const SharedBody source = MakeFileSource(ToPath(path));
        EXPECT_EQ(ReadAll(*source), bytes);
        WriteWholeFile(path, changed);
        EXPECT_EQ(fail(*source), path + ": has changed while it was read");
    }
    EXPECT_EQ(fail(*MakeFileSource(File(AnsiStr(folder.At("none"))))).find(folder.At("none: ")),
              0u);
    EXPECT_NE(fail(*MakeFileSource(ToPath(folder.GetPath()))), "read");
}

TEST(BodySource, ThreadsMayShareAFile) {
    const TempFolder folder;
    const std::string bytes = Random(1).Bytes(200001);
    WriteWholeFile(folder.At("x"), bytes);
    const SharedBody source = MakeFileSource(ToPath(folder.At("x")));
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 4; ++i) {
        threads.emplace_back([&] { EXPECT_EQ(ReadAll(*source), bytes); });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace MIME

#include "kivsec/pkcs7_msg.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kivgui/error.h"
#include "kivgui/random.h"
#include "kivsec/signing.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace KivOssSec {
namespace {

using KivGuiBase::GetLastError;
using KivGuiBase::SetLastError;
using MIME::Test::Escape;
using MIME::Test::ReadWholeFile;
using MIME::Test::TempFolder;
using MIME::Test::WriteWholeFile;
using Test::GetKeyFile;
using Test::GetPassPhrase;

constexpr char kOuter[] = "From: ada@example.com\r\nSubject: x\r\n";

class PKCS7MsgTest : public testing::Test {
protected:
    File At(std::string_view name) const { return File(AnsiStr(folder_.At(name))); }

    bool Sign(PKCS7Msg& message, std::string_view content) {
        WriteWholeFile(folder_.At("content"), content);
        return message.Sign(At("content"), GetKeyFile("rsa.p12"), GetPassPhrase(), true);
    }

    /// Signs and saves; empty when something failed.
    std::string MakeSigned(std::string_view content, const char* outer = kOuter,
                           bool mimeVersion = true) {
        PKCS7Msg message;
        if (!Sign(message, content) || !message.SaveMIME(At("signed"), outer, mimeVersion))
            return {};
        return ReadWholeFile(folder_.At("signed"));
    }

    const TempFolder folder_;
};

/// The boundary that a signed message announces.
std::string FindBoundary(const std::string& text) {
    const size_t start = text.find("boundary=\"") + 10;
    return text.substr(start, text.find('"', start) - start);
}

TEST_F(PKCS7MsgTest, Layout) {
    struct Case {
        const char* why;
        std::string content;
        const char* outer;
        bool mimeVersion;
    };
    const std::string head = "Content-Type: text/plain\r\n\r\n";
    const Case cases[] = {
        {"plain", head + "text\r\n", kOuter, true},
        {"lines that mean something elsewhere", head + ".\r\n..\r\nFrom x\r\n--\r\n \t\r\n", kOuter,
         true},
        {"any bytes", head + std::string("\0\xFF\n\r\x1A", 5), kOuter, true},
        {"more than a piece", head + std::string(200'001, 'x'), kOuter, true},
        {"no outer header, no version", head + "text\r\n", "", false},
    };
    for (const Case& c : cases) {
        const std::string text = MakeSigned(c.content, c.outer, c.mimeVersion);
        const std::string boundary = FindBoundary(text);
        const std::string before =
            std::string(c.outer) + (c.mimeVersion ? "MIME-Version: 1.0\r\n" : "") +
            "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\"; "
            "micalg=sha-256; boundary=\"" +
            boundary +
            "\"\r\n"
            "\r\nThis is a signed message in MIME format (S/MIME).\r\n"
            "\r\n--" +
            boundary + "\r\n" + c.content + "\r\n--" + boundary +
            "\r\n"
            "Content-Type: application/pkcs7-signature; name=\"smime.p7s\"\r\n"
            "Content-Transfer-Encoding: base64\r\n"
            "Content-Disposition: attachment; filename=\"smime.p7s\"\r\n\r\n";
        const std::string after = "\r\n\r\n--" + boundary + "--\r\n";
        ASSERT_TRUE(text.starts_with(before) && text.ends_with(after))
            << c.why << "\n"
            << Escape(text.substr(0, 1000));
        ASSERT_GE(boundary.size(), 32u) << c.why;

        const std::string signature =
            text.substr(before.size(), text.size() - before.size() - after.size());
        for (size_t i = 76; i < signature.size(); i += 78) {
            ASSERT_EQ(signature.substr(i, 2), "\r\n") << c.why;
        }
        EXPECT_TRUE(signature.starts_with("MII")) << c.why << ": a SEQUENCE";
    }
}

/// Random numbers that repeat once: bytes of 0, of 0, of 1, of 1 and so on.
unsigned char draws = 0;
void DrawTwiceEach(void* buffer, size_t size) {
    std::memset(buffer, draws++ / 2, size);
}

TEST_F(PKCS7MsgTest, ABoundaryThatStandsInTheContentIsNotTaken) {
    const std::string taken = "=_kivsec-" + std::string(32, '0');
    const std::string free = "=_kivsec-01010101010101010101010101010101";
    PKCS7Msg message;
    // Also where two reads meet.
    for (const size_t before : {0u, 100u, 32'768u - 20, 65'536u - 1}) {
        ASSERT_TRUE(Sign(message, std::string(before, 'x') + taken));
        draws = 0;
        KivGuiBase::SetRandomSource(DrawTwiceEach);
        const bool saved = message.SaveMIME(At("signed"), kOuter, true);
        KivGuiBase::SetRandomSource(nullptr);
        ASSERT_TRUE(saved);
        EXPECT_EQ(FindBoundary(ReadWholeFile(folder_.At("signed"))), free) << before;
    }
}

TEST_F(PKCS7MsgTest, SaveRefusesWhatWouldBreakTheMessage) {
    PKCS7Msg message;
    EXPECT_FALSE(message.SaveMIME(At("signed"), kOuter, true)) << "nothing signed";
    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorInvalidParameter);
    ASSERT_TRUE(Sign(message, "x"));
    EXPECT_FALSE(message.SaveMIME(At("content"), kOuter, true)) << "over the content";
    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorInvalidParameter);
    for (const char* outer : {"Subject: open line", "\r\nSubject: x\r\n", "A: b\r\n\r\nC: d\r\n"}) {
        SetLastError(0);
        EXPECT_FALSE(message.SaveMIME(At("signed"), outer, true)) << outer;
        EXPECT_EQ(GetLastError(), KivGuiBase::kErrorInvalidParameter) << outer;
    }
    SetLastError(0);
    EXPECT_FALSE(message.SaveMIME(At("missing/signed"), kOuter, true));
    EXPECT_NE(GetLastError(), 0u);
    ASSERT_TRUE(At("content").Remove(true));
    EXPECT_FALSE(message.SaveMIME(At("signed"), kOuter, true)) << "the content has gone";
    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorFileNotFound);
}

TEST_F(PKCS7MsgTest, AFailedSignLeavesNothingToSave) {
    PKCS7Msg message;
    ASSERT_TRUE(Sign(message, "x"));
    EXPECT_FALSE(message.Sign(At("content"), GetKeyFile("rsa.p12"), GetPassPhrase(), false));
    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorNotSupported) << "not detached";
    EXPECT_FALSE(message.SaveMIME(At("signed"), kOuter, true));
}

TEST_F(PKCS7MsgTest, FilesThatSignNothing) {
    struct Case {
        const char* file;
        const char* passPhrase;  ///< null: the right one
        uint32_t want;
    };
    const Case cases[] = {
        {"rsa.p12", "wrong", KivGuiBase::kErrorInvalidPassword},
        {"rsa.p12", "", KivGuiBase::kErrorInvalidPassword},
        {"rsa-open.p12", "not empty", KivGuiBase::kErrorInvalidPassword},
        {"nokey.p12", nullptr, KivGuiBase::kErrorNoKey},
        {"nocertificate.p12", nullptr, KivGuiBase::kErrorNoCertificate},
        {"expired.p12", nullptr, KivGuiBase::kErrorCertificateExpired},
        {"future.p12", nullptr, KivGuiBase::kErrorCertificateExpired},
        {"server.p12", nullptr, KivGuiBase::kErrorCertificateUsage},
        {"sealing.p12", nullptr, KivGuiBase::kErrorCertificateUsage},
        {"cut.p12", nullptr, KivGuiBase::kErrorBadEncoding},
        {"text.pem", nullptr, KivGuiBase::kErrorBadEncoding},
        {"empty.pem", nullptr, KivGuiBase::kErrorBadEncoding},
        {"missing", nullptr, KivGuiBase::kErrorFileNotFound},
        {".", nullptr, KivGuiBase::kErrorAccessDenied},
    };
    WriteWholeFile(folder_.At("content"), "x");
    for (const Case& c : cases) {
        PKCS7Msg message;
        SetLastError(0);
        const AnsiStr passPhrase =
            c.passPhrase != nullptr ? AnsiStr(c.passPhrase) : GetPassPhrase();
        EXPECT_FALSE(message.Sign(At("content"), GetKeyFile(c.file), passPhrase, true)) << c.file;
        EXPECT_EQ(GetLastError(), c.want) << c.file;
        EXPECT_FALSE(KivGuiBase::GetErrorMessage(c.want, 0, 1).IsEmpty()) << c.file;
    }
    WriteWholeFile(folder_.At("huge"), std::string((16 << 20) + 1, '0'));
    PKCS7Msg message;
    EXPECT_FALSE(message.Sign(At("content"), At("huge"), "", true));
    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorFileTooLarge);
    EXPECT_FALSE(message.Sign(At("none"), GetKeyFile("rsa.p12"), GetPassPhrase(), true));
    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorFileNotFound) << "the content";
}

TEST_F(PKCS7MsgTest, FilesThatNeedNoPassPhraseOrHaveNoRestriction) {
    WriteWholeFile(folder_.At("content"), "x");
    PKCS7Msg message;
    EXPECT_TRUE(message.Sign(At("content"), GetKeyFile("rsa-open.p12"), "", true));
    for (const char* file : {"unrestricted.p12", "rsa-plainkey.p12"}) {
        EXPECT_TRUE(message.Sign(At("content"), GetKeyFile(file), GetPassPhrase(), true)) << file;
    }
}

}  // namespace
}  // namespace KivOssSec

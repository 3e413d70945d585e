#include "mime/writing/signed_mail.h"

#include <gtest/gtest.h>

#include "kivgui/error.h"
#include "kivsec/signing.h"
#include "mime/writing/write_failure.h"

namespace MIME {
namespace {

MailSigner MakeSigner(const char* file, const char* passPhrase = nullptr) {
    const std::string right{std::string_view(KivOssSec::Test::GetPassPhrase())};
    return {KivOssSec::Test::GetKeyFile(file), passPhrase != nullptr ? passPhrase : right};
}

TEST(MailSignerTest, WhatCannotBeSignedIsSaidAndWhy) {
    struct Case {
        const char* file;
        const char* passPhrase;  ///< null: the right one
        std::string entity;
        uint32_t want;  ///< the system's code
        std::string_view wantEnd;
    };
    using namespace std::string_literals;
    constexpr char kLine[] = "ature: a line does not end in CR LF";
    const Case cases[] = {
        {"rsa.p12", nullptr, "a\r\n\r\n\r\nb\r\n", 0, ""},
        {"rsa.p12", nullptr, "", 0, ""},
        {"rsa.p12", nullptr, "open line \xFF", 0, ""},
        {"rsa.p12", nullptr, "a\nb\r\n", 0, kLine},
        {"rsa.p12", nullptr, "a\r\rb\r\n", 0, kLine},
        {"rsa.p12", nullptr, "a\r\n\n", 0, kLine},
        {"rsa.p12", nullptr, "a\r", 0, kLine},
        {"rsa.p12", nullptr, "a\0b"s, 0, "a line has a NUL"},
        {"rsa.p12", "wrong", "a", KivGuiBase::kErrorInvalidPassword, ""},
        {"missing", nullptr, "a", KivGuiBase::kErrorFileNotFound, ""},
    };
    for (const Case& c : cases) {
        std::string got;
        const Take take = [&](std::string_view piece) { got += piece; };
        const Result<void> result = Caught<void>([&] {
            MakeSigner(c.file, c.passPhrase)
                .Write(
                    "A: b\r\n", "=_x",
                    [&](const Take& next) {
                        for (const char& byte : c.entity) next({&byte, 1});
                    },
                    take);
        });
        const bool isSigned = c.want == 0 && c.wantEnd.empty();
        const Error error = result ? Error() : result.error();
        EXPECT_EQ(error.GetCode(), isSigned ? ErrorCode::none : ErrorCode::cannotSign) << c.entity;
        EXPECT_EQ(error.GetSystemCode(), c.want);
        EXPECT_TRUE(error.GetText().ends_with(c.wantEnd)) << error.GetText();
        EXPECT_EQ(got.empty(), c.want != 0) << "nothing is written before the signer is known";
        EXPECT_EQ(got.ends_with("\r\n\r\n--=_x--\r\n"), isSigned);
        EXPECT_EQ(got.find("\r\n--=_x\r\n" + c.entity + "\r\n--=_x\r\n") != std::string::npos,
                  isSigned);
    }
}

TEST(MailSignerTest, WhatTheTargetThrowsPassesThrough) {
    MailSigner signer = MakeSigner("missing");
    signer = MakeSigner("rsa.p12");
    int pieces = 0;
    for (bool isThrown = true; isThrown; ++pieces) {  // by the first piece, then by the second
        int left = pieces;
        const Take take = [&](std::string_view) {
            if (left-- == 0) throw 1;
        };
        isThrown = false;
        try {
            signer.Write(
                "", "=_x", [](const Take& next) { next("a"); }, take);
        } catch (int) {
            isThrown = true;
        }
    }
    EXPECT_GT(pieces, 3);
}

}  // namespace
}  // namespace MIME

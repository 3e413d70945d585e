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
        uint32_t wantCode;  ///< the system's
        std::string_view wantEnd;
    };
    using namespace std::string_literals;
    constexpr char kLine[] = "ature: a line does not end in CR LF";
    const Case cases[] = {
        {"rsa.p12", nullptr, "open line \xFF", 0, ""},
        {"rsa.p12", nullptr, "a\nb\r\n", 0, kLine},
        {"rsa.p12", nullptr, "a\r\rb\r\n", 0, kLine},
        {"rsa.p12", nullptr, "a\r", 0, kLine},
        {"rsa.p12", nullptr, "a\0b"s, 0, "a line has a NUL"},
        {"rsa.p12", "wrong", "a", KivGuiBase::kErrorInvalidPassword, ""},
    };
    for (const Case& c : cases) {
        std::string got;
        const Take take = [&](std::string_view piece) { got += piece; };
        const Writing write = [&](const Take& next) {
            for (const char& byte : c.entity) next({&byte, 1});
        };
        const Result<void> result = Caught<void>(
            [&] { MakeSigner(c.file, c.passPhrase).Write("A: b\r\n", "=_x", write, take); });
        const Error error = result ? Error() : result.error();
        EXPECT_EQ(bool(result), c.wantCode == 0 && c.wantEnd.empty()) << c.entity;
        EXPECT_EQ(error.GetSystemCode(), c.wantCode);
        EXPECT_TRUE(error.GetText().ends_with(c.wantEnd)) << error.GetText();
        EXPECT_EQ(got.empty(), c.wantCode != 0) << "the signer is looked at first";
    }
    const auto thrower = [](const Take&) { throw 1; };
    const auto drop = [](std::string_view) {};
    EXPECT_THROW(MakeSigner("rsa.p12").Write("", "=_x", thrower, drop), int);
}

}  // namespace
}  // namespace MIME

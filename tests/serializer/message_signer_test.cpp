#include "mime/serializer/message_signer.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kivgui/error.h"
#include "kivsec/signing.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using KivGuiBase::GetLastError;
using KivGuiBase::GetStoredErrorMessage;
using KivGuiBase::SetErrorMessage;
using KivGuiBase::SetLastError;
using KivOssSec::Test::GetKeyFile;
using KivOssSec::Test::GetPassPhrase;
using Test::Escape;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;
namespace System = Test::System;

/// Stands in for PKCS7Msg: fails as it is told and writes down how it was called.
struct FakeSecurity {
    static inline uint32_t signError, saveError;
    static inline std::string log, content, outerHeaders;

    /// A layer whose success leaves the code of before alone, unlike the files that this one uses.
    static bool Finish(uint32_t error) {
        SetLastError(error != 0 ? error : 7);
        return error == 0;
    }
    bool Sign(const File& file, const File& signer, const AnsiStr& text, bool detached) {
        log += "Sign(" + std::string(signer.GetPath()) + "," + std::string(text) +
               (detached ? ",true)" : ",false)");
        content = ReadWholeFile(file.GetPath());
        EXPECT_TRUE(System::IsOwnersAlone(std::string(file.GetPath())));
        return Finish(signError);
    }
    bool SaveMIME(const File& output, const AnsiStr& outer, bool mimeVersion) {
        log += mimeVersion ? " SaveMIME(true)" : " SaveMIME(false)";
        outerHeaders = std::string_view(outer);
        EXPECT_TRUE(System::IsOwnersAlone(std::string(output.GetPath())));
        WriteWholeFile(output.GetPath(), "the signed message");
        return Finish(saveError);
    }
};

/// Gives the slots texts and codes from before, and an empty temporary folder.
class MessageSignerTest : public testing::Test {
protected:
    MessageSignerTest() {
        FakeSecurity::signError = FakeSecurity::saveError = 0;
        FakeSecurity::log = "";
        SetLastError(7);
        SetErrorMessage("from before");
        message_.info.contentType.str = "text/plain";
        message_.info.transferEncoding = TransferEncoding::bit7;
        message_.data.content = "text\r\n";
        message_.headers.FindOrInsert("From")->value.value = "Ada <ada@example.com>";
        message_.headers.FindOrInsert("Subject")->value.value = "Gr\xC3\xBC\xC3\x9F";
        message_.headers.FindOrInsert("Content-ID")->value.value = "<1@example.com>";
        message_.headers.FindOrInsert("MIME-Version")->value.value = "1.0";
    }
    ~MessageSignerTest() override { EXPECT_TRUE(folder_.List().empty()); }

    /// Signing fails with this code, and leaves this message when one is given.
    void ExpectFailure(uint32_t code, const std::string& message = "from before") {
        EXPECT_EQ(SignMessage<FakeSecurity>(message_, File("key"), "pass"), "");
        EXPECT_EQ(GetLastError(), code);
        EXPECT_EQ(GetStoredErrorMessage(), message);
    }
    static std::string TextOf(uint32_t code) {
        return std::string(KivGuiBase::GetErrorMessage(code, 0, 1));
    }

    Message message_;
    const TempFolder folder_;
};

TEST_F(MessageSignerTest, WhatTheSecurityLayerGets) {
    const AnsiStr text = message_.Serialize(false);
    EXPECT_EQ(SignMessage<FakeSecurity>(message_, File("key"), "pass"), "the signed message");
    EXPECT_EQ(FakeSecurity::log, "Sign(key,pass,true) SaveMIME(true)");
    EXPECT_EQ(FakeSecurity::content, std::string_view(text));
    EXPECT_EQ(FakeSecurity::outerHeaders,
              "From: Ada <ada@example.com>\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9F?=\r\n");
    EXPECT_EQ(GetLastError(), 7u) << "success leaves it alone";
    EXPECT_EQ(GetStoredErrorMessage(), "from before");
    EXPECT_EQ(message_.Serialize(false), text) << "nothing of the message changed";
}

TEST_F(MessageSignerTest, WhatCannotBeSigned) {
    constexpr uint32_t kOutOfMemory = 0x8007000E;
    message_.rawText = AnsiStr("A: b\r\n\r\nc\0d", 12);
    ExpectFailure(KivGuiBase::kErrorInvalidData,
                  "Could not sign the message: its text holds a NUL byte");
    SetErrorMessage("from before");
    message_.rawText = "";
    message_.AddPart(nullptr);  // a tree that gives no text
    ExpectFailure(kOutOfMemory);
    message_.parts.RemoveLast();
    message_.headers.FindOrInsert("From")->value.value = "";
    message_.headers.FindOrInsert("Subject")->value.value = "";
    ExpectFailure(kOutOfMemory);  // no header besides Content- fields and the version
    EXPECT_EQ(FakeSecurity::log, "");
}

TEST_F(MessageSignerTest, FailuresOfTheSecurityLayer) {
    FakeSecurity::signError = 86;
    ExpectFailure(86, "Could not create message signature: " + TextOf(86));
    FakeSecurity::signError = 0;
    FakeSecurity::saveError = 112;
    ExpectFailure(112, "Could not save signed message: " + TextOf(112));
}

TEST_F(MessageSignerTest, ConcurrentSigningOfOneMessage) {
    const AnsiStr passPhrase = GetPassPhrase();
    const std::string content = "\r\n" + std::string(message_.Serialize(false)) + "\r\n--";
    std::vector<std::thread> threads;
    for (const bool mustFail : {false, true, false, true}) {
        threads.emplace_back([&, mustFail] {
            for (int i = 0; i < 5; ++i) {
                const AnsiStr text =
                    message_.Sign(GetKeyFile("rsa.p12"), mustFail ? "wrong" : passPhrase);
                if (mustFail) {
                    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorInvalidPassword);
                } else {
                    EXPECT_NE(std::string_view(text).find(content), std::string_view::npos);
                    EXPECT_TRUE(std::string_view(text).starts_with(
                        "From: Ada <ada@example.com>\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9F?=\r\n"
                        "MIME-Version: 1.0\r\nContent-Type: multipart/signed; "));
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace MIME

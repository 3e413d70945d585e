#include "mime/serializer/message_signer.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "kivsec/signing.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using KivGuiBase::GetErrorMessage;
using KivGuiBase::GetLastError;
using KivGuiBase::GetStoredErrorMessage;
using KivGuiBase::SetErrorMessage;
using KivGuiBase::SetLastError;
using KivOssSec::Test::GetKeyFile;
using KivOssSec::Test::GetPassPhrase;
using Test::Escape;
using Test::ReadWholeFile;
using Test::TempFolder;
namespace System = Test::System;
using Test::WriteWholeFile;

constexpr uint32_t kOutOfMemory = 0x8007000E;

struct Behaviour {
    uint32_t signError = 0;
    uint32_t saveError = 0;
    bool leavesNothing = false;  ///< SaveMIME deletes what it should have written
};

/// Stands in for PKCS7Msg: does what `behaviour` says and writes down how it was called.
struct FakeSecurity {
    static inline Behaviour behaviour;
    static inline std::string log, content, outerHeaders;
    static inline int alive = 0;

    FakeSecurity() { ++alive; }
    ~FakeSecurity() { --alive; }

    static bool Finish(uint32_t error) {
        if (error != 0) SetLastError(error);
        return error == 0;
    }
    bool Sign(const File& file, const File& signer, const AnsiStr& text, bool detached) {
        log += "Sign(" + std::string(std::string_view(signer.GetPath())) + "," +
               std::string(std::string_view(text)) + (detached ? ",true)" : ",false)");
        content = ReadWholeFile(file.GetPath());
        EXPECT_TRUE(System::IsOwnersAlone(std::string(file.GetPath())));
        return Finish(behaviour.signError);
    }
    bool SaveMIME(const File& output, const AnsiStr& outer, bool mimeVersion) {
        log += mimeVersion ? " SaveMIME(true)" : " SaveMIME(false)";
        outerHeaders = std::string_view(outer);
        EXPECT_TRUE(System::IsOwnersAlone(std::string(output.GetPath())));
        if (behaviour.leavesNothing) {
            output.Remove(true);
        } else {
            WriteWholeFile(output.GetPath(), "the signed message");
        }
        return Finish(behaviour.saveError);
    }
};

/// Gives the slots texts and codes from before, and an empty temporary folder.
class MessageSignerTest : public testing::Test {
protected:
    MessageSignerTest() { Forget(); }

    static void Forget() {
        FakeSecurity::behaviour = {};
        FakeSecurity::log = FakeSecurity::content = FakeSecurity::outerHeaders = "";
        SetLastError(7);
        SetErrorMessage("from before");
    }

    static void Fill(Message& message) {
        message.info.contentType.str = "text/plain";
        message.info.transferEncoding = TransferEncoding::bit7;
        message.data.content = "text\r\n";
        message.headers.FindOrInsert("From")->value.value = "Ada <ada@example.com>";
        message.headers.FindOrInsert("Subject")->value.value =
            "Gr\xC3\xBC\xC3\x9F"
            "e";
        message.headers.FindOrInsert("Content-ID")->value.value = "<1@example.com>";
        message.headers.FindOrInsert("MIME-Version")->value.value = "1.0";
    }

    const TempFolder folder_;
};

TEST_F(MessageSignerTest, WhatTheSecurityLayerGets) {
    Message message;
    Fill(message);
    const AnsiStr text = message.Serialize(false);
    EXPECT_EQ(SignMessage<FakeSecurity>(message, File("key"), "pass"), "the signed message");
    EXPECT_EQ(FakeSecurity::log, "Sign(key,pass,true) SaveMIME(true)");
    EXPECT_EQ(FakeSecurity::content, std::string_view(text));
    EXPECT_EQ(FakeSecurity::outerHeaders,
              "From: Ada <ada@example.com>\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\r\n");
    EXPECT_EQ(FakeSecurity::alive, 0);
    EXPECT_TRUE(folder_.List().empty());
    EXPECT_EQ(GetLastError(), 7u) << "success leaves it alone";
    EXPECT_EQ(GetStoredErrorMessage(), "from before");
    EXPECT_EQ(message.Serialize(false), text) << "nothing of the message changed";
}

TEST_F(MessageSignerTest, EveryFailure) {
    struct Case {
        const char* why;
        std::function<void(Message&)> prepare;
        Behaviour behaviour;
        std::string wantLog;
        uint32_t wantCode;
        std::string wantMessage;  ///< "": left as it was
    };
    const auto nothing = [](Message&) {};
    const auto textOf = [](uint32_t code) {
        return std::string(std::string_view(GetErrorMessage(code, 0, 1)));
    };
    const std::string sign = "Sign(key,pass,true)";
    const Case cases[] = {
        {"no header besides Content- fields and the version",
         [](Message& message) {
             message.headers.FindOrInsert("From")->value.value = "";
             message.headers.FindOrInsert("Subject")->value.value = "";
         },
         {},
         "",
         kOutOfMemory,
         ""},
        {"a tree that gives no text",
         [](Message& message) { message.AddPart(nullptr); },
         {},
         "",
         kOutOfMemory,
         ""},
        {"a NUL in the text",
         [](Message& message) { message.rawText = AnsiStr("A: b\r\n\r\nc\0d", 12); },
         {},
         "",
         KivGuiBase::kErrorInvalidData,
         "Could not sign the message: its text holds a NUL byte"},
        {"Sign fails",
         nothing,
         {86, 0, false},
         sign,
         86,
         "Could not create message signature: " + textOf(86)},
        {"SaveMIME fails",
         nothing,
         {0, 112, false},
         sign + " SaveMIME(true)",
         112,
         "Could not save signed message: " + textOf(112)},
        {"the signed message cannot be read",
         nothing,
         {0, 0, true},
         sign + " SaveMIME(true)",
         2,
         ""},
    };
    for (const Case& c : cases) {
        Forget();
        FakeSecurity::behaviour = c.behaviour;
        Message message;
        Fill(message);
        c.prepare(message);
        SetLastError(7);
        EXPECT_EQ(SignMessage<FakeSecurity>(message, File("key"), "pass"), "") << c.why;
        EXPECT_EQ(FakeSecurity::log, c.wantLog) << c.why;
        EXPECT_EQ(GetLastError(), c.wantCode) << c.why;
        EXPECT_EQ(GetStoredErrorMessage(), c.wantMessage.empty() ? "from before" : c.wantMessage)
            << c.why;
        EXPECT_EQ(FakeSecurity::alive, 0) << c.why;
        EXPECT_TRUE(folder_.List().empty()) << c.why;
    }
}

/// With the real security layer.
TEST_F(MessageSignerTest, SignsATree) {
    Message message;
    Fill(message);
    const std::string text =
        std::string(std::string_view(message.Sign(GetKeyFile("rsa.p12"), GetPassPhrase())));
    ASSERT_TRUE(
        text.starts_with("From: Ada <ada@example.com>\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\r\n"
                         "MIME-Version: 1.0\r\nContent-Type: multipart/signed; "))
        << Escape(text);
    EXPECT_NE(
        text.find("\r\n" + std::string(std::string_view(message.Serialize(false))) + "\r\n--"),
        std::string::npos);
    EXPECT_TRUE(folder_.List().empty());

    EXPECT_EQ(message.Sign(GetKeyFile("rsa.p12"), "wrong"), "");
    EXPECT_EQ(GetLastError(), KivGuiBase::kErrorInvalidPassword);
    EXPECT_TRUE(std::string_view(GetStoredErrorMessage())
                    .starts_with("Could not create message signature: "));
    EXPECT_TRUE(folder_.List().empty());
}

TEST_F(MessageSignerTest, ConcurrentSigningOfOneMessage) {
    Message message;
    Fill(message);
    const AnsiStr passPhrase = GetPassPhrase();
    const std::string content = std::string(std::string_view(message.Serialize(false)));
    std::vector<int> failures(4);
    std::vector<std::thread> threads;
    for (int& failed : failures) {
        threads.emplace_back([&, mustFail = threads.size() % 2 == 1] {
            for (int i = 0; i < 5; ++i) {
                const AnsiStr text =
                    message.Sign(GetKeyFile("rsa.p12"), mustFail ? "wrong" : passPhrase);
                const bool complete =
                    std::string_view(text).find(content) != std::string_view::npos;
                const bool told = GetLastError() == KivGuiBase::kErrorInvalidPassword;
                if (mustFail ? !told : !complete) ++failed;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, std::vector<int>(4));
    EXPECT_TRUE(folder_.List().empty());
}

}  // namespace
}  // namespace MIME

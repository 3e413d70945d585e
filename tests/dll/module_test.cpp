#include "mime/dll/module.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kivsec/pkcs7_msg.h"
#include "kivsec/signing.h"
#include "mime/mime.h"
#include "support/gate.h"
#include "support/loaded_library.h"

namespace MIME {
namespace {

using Test::Gate;
using Test::LoadedLibrary;

constexpr const char* kLibrary = MIME_TEST_LIBRARY;

// What the library exports, by the names that both systems' compilers give them.
using GetTypes = bool(const AnsiStr& ext, Type::keys& type, SubType::keys& subType) noexcept;
constexpr const char* kGetTypes =
    "_ZN4MIME15GetTypesFromExtERKN10KivGuiBase7AnsiStrERNS_4Type4keysERNS_7SubType4keysE";
using SetMessage = void(const AnsiStr& text);
constexpr const char* kSetMessage = "_ZN10KivGuiBase15SetErrorMessageERKNS_7AnsiStrE";
using GetMessageText = AnsiStr();
constexpr const char* kGetMessage = "_ZN10KivGuiBase21GetStoredErrorMessageEv";
using SignFile = bool(KivOssSec::PKCS7Msg* message, const File& content, const File& signer,
                      const AnsiStr& signerText, bool detached) noexcept;
constexpr const char* kSignFile =
    "_ZN9KivOssSec8PKCS7Msg4SignERKN10KivGuiBase4FileES4_RKNS1_7AnsiStrEb";

bool FindsGif(GetTypes* getTypes) noexcept {
    Type::keys type;
    SubType::keys subType;
    return getTypes("gif", type, subType) && type == Type::image && subType == SubType::gif;
}

/// Uses everything that keeps data of its thread, or uses a library that does.
void UseTables(const LoadedLibrary& library, GetTypes* getTypes, Gate& start) {
    start.CountAndWait();
    EXPECT_TRUE(FindsGif(getTypes));
    const std::string tooLong = std::string(KivGuiBase::kMaxErrorMessage - 1, 'x') + "\xC3\xA4";
    library.Find<SetMessage>(kSetMessage)(tooLong.c_str());
    EXPECT_EQ(library.Find<GetMessageText>(kGetMessage)().GetLength(),
              KivGuiBase::kMaxErrorMessage - 1);
    KivOssSec::PKCS7Msg message;
    const File key = KivOssSec::Test::GetKeyFile("rsa.p12");
    EXPECT_TRUE(library.Find<SignFile>(kSignFile)(&message, key, key,
                                                  KivOssSec::Test::GetPassPhrase(), true));
}

TEST(ModuleThreadTest, UnloadsAndLeavesNothingBehind) {
    struct Case {
        const char* why;
        bool usesTables;
    };
    const Case cases[] = {
        {"nobody asked for the tables, which the end then must not build", false},
        {"built tables, and data of threads", true},
        {"the same, loaded again", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        ASSERT_FALSE(LoadedLibrary::IsInProcess(kLibrary));
        LoadedLibrary library(kLibrary);
        ASSERT_TRUE(library.IsOpen());
        auto* const getTypes = library.Find<GetTypes>(kGetTypes);
        ASSERT_TRUE(getTypes != nullptr);

        // One thread outlives the library.
        Gate start(4), isUsed(1), isUnloaded(1);
        std::thread survivor;
        if (c.usesTables) {
            survivor = std::thread([&] {
                UseTables(library, getTypes, start);
                isUsed.Count();
                isUnloaded.Wait();
            });
            std::vector<std::thread> threads;
            for (int i = 0; i < 2; ++i) {
                threads.emplace_back([&] { UseTables(library, getTypes, start); });
            }
            UseTables(library, getTypes, start);
            for (std::thread& thread : threads) thread.join();
            isUsed.Wait();
        }
        library.Unload();
        EXPECT_FALSE(LoadedLibrary::IsInProcess(kLibrary));
        isUnloaded.Count();
        if (survivor.joinable()) survivor.join();
    }
}

}  // namespace
}  // namespace MIME

#include <gtest/gtest.h>

#include "kivgui/platform/windows/system.h"

#include <wincrypt.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "kivgui/error.h"
#include "kivsec/pkcs7_msg.h"
#include "kivsec/signing.h"
#include "support/temp_folder.h"

namespace KivOssSec {
namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::File;
using MIME::Test::TempFolder;
using MIME::Test::WriteWholeFile;
using Test::GetKeyFile;
using Test::GetPassPhrase;

bool IsWine() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

/// Nobody else imports a key meanwhile; other tests run at the same time.
class ImportLock {
public:
    ImportLock() : mutex_(CreateMutexW(nullptr, FALSE, L"Local\\KIVMIME-key-import")) {
        WaitForSingleObject(mutex_, INFINITE);
    }
    ~ImportLock() {
        ReleaseMutex(mutex_);
        CloseHandle(mutex_);
    }
    ImportLock(const ImportLock&) = delete;
    ImportLock& operator=(const ImportLock&) = delete;

private:
    HANDLE mutex_;
};

bool UseDefaultContainer(DWORD flags) {
    HCRYPTPROV provider = 0;
    if (!CryptAcquireContextW(&provider, nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, flags)) {
        return false;
    }
    if ((flags & CRYPT_DELETEKEYSET) == 0) CryptReleaseContext(provider, 0);
    return true;
}

/// The key containers that this process has made and not removed.
std::vector<std::string> ListOwnContainers() {
    const std::string own = "KIVMIME-" + std::to_string(GetCurrentProcessId());
    std::vector<std::string> names;
    HCRYPTPROV provider = 0;
    if (!CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT)) {
        return {"no provider"};
    }
    char name[MAX_PATH];
    DWORD size = sizeof name;
    DWORD flag = CRYPT_FIRST;
    while (CryptGetProvParam(provider, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(name), &size,
                             flag)) {
        if (std::string_view(name).starts_with(own)) names.emplace_back(name);
        size = sizeof name;
        flag = CRYPT_NEXT;
    }
    CryptReleaseContext(provider, 0);
    return names;
}

TEST(SignDetachedTest, SignsOrSaysWhyAndLeavesNoKey) {
    struct Case {
        const char* why;
        const char* file;
        uint32_t want;        ///< 0: it signs
        uint32_t wantInWine;  ///< where it differs
    };
    constexpr uint32_t kNone = 0;
    constexpr uint32_t kBadAlgorithm = KivGuiBase::kErrorBadAlgorithm;
    constexpr uint32_t kNotSupported = KivGuiBase::kErrorNotSupported;
    const Case cases[] = {
        {"RSA", "rsa.p12", kNone, kNone},
        {"old encryption", "rsa-legacy.p12", kNone, kNone},
        {"no code over the file", "rsa-nomac.p12", kNone, kNone},
        {"ECDSA", "ec.p12", kNone, kBadAlgorithm},
        {"no such keys in CNG", "ed25519.p12", kBadAlgorithm, kBadAlgorithm},
        {"PEM is not read here", "rsa.pem", kNotSupported, kNotSupported},
        {"nor encrypted", "rsa-locked.pem", kNotSupported, kNotSupported},
    };
    const TempFolder folder;
    const std::string content = folder.At("content");
    WriteWholeFile(content, "x");
    for (const Case& c : cases) {
        PKCS7Msg message;
        KivGuiBase::SetLastError(0);
        const bool done =
            message.Sign(File(AnsiStr(content)), GetKeyFile(c.file), GetPassPhrase(), true);
        const uint32_t want = IsWine() ? c.wantInWine : c.want;
        EXPECT_EQ(done, want == 0) << c.why;
        EXPECT_EQ(KivGuiBase::GetLastError(), want) << c.why;
        EXPECT_EQ(message.SaveMIME(File(AnsiStr(folder.At("signed"))), "", true), done) << c.why;
        if (want != c.want) std::printf("not in Wine: %s (%s)\n", c.why, c.file);
    }
    EXPECT_EQ(ListOwnContainers(), std::vector<std::string>());
    const ImportLock lock;
    EXPECT_TRUE(!IsWine() || !UseDefaultContainer(0));
}

/// Wine imports into the user's default key container; a key that is there must stay.
TEST(SignDetachedTest, AKeyOfTheUserIsNotReplaced) {
    if (!IsWine()) GTEST_SKIP() << "Windows imports into memory";
    const ImportLock lock;
    ASSERT_TRUE(UseDefaultContainer(CRYPT_NEWKEYSET));
    EXPECT_FALSE(
        PKCS7Msg().Sign(GetKeyFile("root.pem"), GetKeyFile("rsa.p12"), GetPassPhrase(), true));
    EXPECT_EQ(KivGuiBase::GetLastError(), static_cast<uint32_t>(NTE_EXISTS));
    EXPECT_TRUE(UseDefaultContainer(CRYPT_DELETEKEYSET));
}

}  // namespace
}  // namespace KivOssSec

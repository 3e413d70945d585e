#include "support/temp_folder.h"

#include <random>

#include "kivgui/platform/windows/system.h"

#include <aclapi.h>

namespace MIME::Test::System {

std::string MakeTempFolder() {
    std::random_device random;
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("kivmime-test-" + std::to_string(random()) + "-" + std::to_string(GetCurrentProcessId()));
    if (!std::filesystem::create_directory(path)) {
        throw std::runtime_error("cannot make " + FromPath(path));
    }
    return FromPath(path);
}

void SetTempFolder(const std::string& path) {
    SetEnvironmentVariableW(L"TMP", ToPath(path).c_str());
}

void MakeLink(const std::string& target, const std::string& link) {
    constexpr DWORD kFlags = SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE;
    const std::filesystem::path path = ToPath(link);
    // Wine reports success, but makes nothing.
    if (!CreateSymbolicLinkW(path.c_str(), ToPath(target).c_str(), kFlags) ||
        GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        throw std::runtime_error("cannot make the link " + link);
    }
}

// The system's own account gets in anyway, and Wine puts it on every list.
bool IsOwnersAlone(const std::string& path) {
    ACL* list = nullptr;
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoW(ToPath(path).c_str(), SE_FILE_OBJECT,
                              OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                              nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    bool isAlone = list != nullptr;  // no list lets everybody in
    for (DWORD i = 0; isAlone && i < list->AceCount; ++i) {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        PSID account = &static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
        isAlone = EqualSid(account, owner) || IsWellKnownSid(account, WinLocalSystemSid);
    }
    LocalFree(descriptor);
    return isAlone;
}

// Windows itself has none; Wine shows that of Linux.
std::string GetFullDevice() {
    const std::string device = "Z:\\dev\\full";
    const HANDLE file = CreateFileW(ToPath(device).c_str(), GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return "";
    CloseHandle(file);
    return device;
}

}  // namespace MIME::Test::System

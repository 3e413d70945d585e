#include "kivgui/platform/windows/owner_only.h"

#include "kivgui/platform/windows/system.h"

namespace KivGuiBase::Platform {

// A server's thread may act for one of its users; the file then belongs to that user.
bool OwnerOnly::ReadUser() noexcept {
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) &&
        !OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        return false;
    }
    DWORD size = 0;
    const BOOL isRead = GetTokenInformation(token, TokenUser, &user_, sizeof user_, &size);
    const LastErrorKept kept;
    CloseHandle(token);
    return isRead != FALSE;
}

bool OwnerOnly::MakeList() noexcept {
    return InitializeAcl(GetList(), sizeof list_, ACL_REVISION) &&
           AddAccessAllowedAce(GetList(), ACL_REVISION, FILE_ALL_ACCESS, GetUser());
}

bool OwnerOnly::MakeDescriptor() noexcept {
    return InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&descriptor_, TRUE, GetList(), FALSE) &&
           SetSecurityDescriptorControl(&descriptor_, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
}

SECURITY_ATTRIBUTES* OwnerOnly::Prepare() noexcept {
    if (!ReadUser() || !MakeList() || !MakeDescriptor()) return nullptr;
    attributes_ = {sizeof attributes_, &descriptor_, FALSE};
    return &attributes_;
}

}  // namespace KivGuiBase::Platform

#pragma once

#include "kivgui/platform/windows/system.h"

namespace KivGuiBase::Platform {

/// The security of a new file that only the calling thread's user may read, write and delete.
/// Permissions that files inherit from the folder are left out.
class OwnerOnly {
public:
    OwnerOnly() noexcept = default;
    OwnerOnly(const OwnerOnly&) = delete;
    OwnerOnly& operator=(const OwnerOnly&) = delete;

    /// The attributes for CreateFileW, valid as long as this object. Null, with the last error set,
    /// on failure. Call once.
    SECURITY_ATTRIBUTES* Prepare() noexcept;

private:
    bool ReadUser() noexcept;
    bool MakeList() noexcept;
    bool MakeDescriptor() noexcept;

    PSID GetUser() noexcept { return user_.info.User.Sid; }
    ACL* GetList() noexcept { return &list_.list; }

    // Room for the structures and the account's number (SID) that the system puts after them.
    union {
        TOKEN_USER info;
        BYTE room[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    } user_;
    union {
        ACL list;
        BYTE room[sizeof(ACL) + sizeof(ACCESS_ALLOWED_ACE) + SECURITY_MAX_SID_SIZE];
    } list_;
    SECURITY_DESCRIPTOR descriptor_;
    SECURITY_ATTRIBUTES attributes_;
};

}  // namespace KivGuiBase::Platform

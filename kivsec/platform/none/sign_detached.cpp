#include "kivgui/error.h"
#include "kivsec/platform/platform.h"

// For builds without cryptography (KIVMIME_SIGNING=OFF): everything that signs exists, and says so.

namespace KivOssSec {

bool Platform::SignDetached(const KivGuiBase::File&, const KivGuiBase::AnsiStr&, const ContentFeed&,
                            KivGuiBase::Blob&) {
    KivGuiBase::SetLastError(KivGuiBase::kErrorNoSigning);
    return false;
}

}  // namespace KivOssSec

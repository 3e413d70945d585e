#include "kivsec/pkcs7_msg.h"

#include "kivgui/error.h"
#include "kivsec/platform/platform.h"
#include "kivsec/smime_writer.h"

namespace KivOssSec {

bool PKCS7Msg::Sign(const File& content, const File& signer, const AnsiStr& signerText,
                    bool detached) noexcept {
    content_ = content;
    signature_ = Blob();
    if (!detached) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotSupported);
        return false;
    }
    return Platform::SignDetached(content, signer, signerText, signature_);
}

bool PKCS7Msg::SaveMIME(const File& output, const AnsiStr& outerHeaders,
                        bool mimeVersion) noexcept {
    if (signature_.IsEmpty() || output.GetPath() == content_.GetPath()) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorInvalidParameter);
        return false;
    }
    return WriteSignedMessage(content_, signature_, outerHeaders, mimeVersion, output);
}

}  // namespace KivOssSec

#include "kivsec/detached_signature.h"

#include <utility>

#include "kivsec/platform/platform.h"

namespace KivOssSec {

bool SignDetached(const KivGuiBase::File& signer, const KivGuiBase::AnsiStr& signerText,
                  const ContentFeed& feed, KivGuiBase::Blob& signature) {
    signature = KivGuiBase::Blob();
    KivGuiBase::Blob made;
    if (!Platform::SignDetached(signer, signerText, feed, made)) return false;
    signature = std::move(made);
    return true;
}

}  // namespace KivOssSec

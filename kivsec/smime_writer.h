#pragma once

#include "kivgui/blob.h"
#include "kivgui/file.h"

namespace KivOssSec {

/// Writes a multipart/signed message (RFC 1847, 2.1; RFC 8551, 3.5.3). The arguments are those of
/// PKCS7Msg::SaveMIME, the content file and the signature in DER.
bool WriteSignedMessage(const KivGuiBase::File& content, const KivGuiBase::Blob& signature,
                        const KivGuiBase::AnsiStr& outerHeaders, bool mimeVersion,
                        const KivGuiBase::File& output) noexcept;

}  // namespace KivOssSec

#pragma once

#include "kivgui/blob.h"
#include "kivgui/file.h"

/// What the signing of messages asks of a system's cryptography. As with
/// kivgui/platform/platform.h, each back end answers in its own folder, fails with the last-error
/// code set, throws nothing, and may be called on any thread.
namespace KivOssSec::Platform {

/// Makes a detached signature of the bytes of `content`, which are read in pieces: CMS SignedData
/// in a ContentInfo (RFC 5652, 3 and 5), as DER, with SHA-256, the signing time and all
/// certificates of `signer`. The arguments are those of PKCS7Msg::Sign; docs/signing.md lists what
/// must fail, and how.
bool SignDetached(const KivGuiBase::File& content, const KivGuiBase::File& signer,
                  const KivGuiBase::AnsiStr& signerText, KivGuiBase::Blob& signature) noexcept;

}  // namespace KivOssSec::Platform

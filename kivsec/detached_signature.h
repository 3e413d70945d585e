#pragma once

#include <cstddef>
#include <functional>

#include "kivgui/blob.h"
#include "kivgui/export.h"
#include "kivgui/file.h"

namespace KivOssSec {

/// Takes the next bytes of the content to sign. False, with the last error set, when they cannot be
/// signed; then no further bytes can be signed.
using TakeContent = std::function<bool(const char* bytes, size_t size)>;

/// Passes all content to sign to `take`, in pieces of any size. False when that failed.
using ContentFeed = std::function<bool(const TakeContent& take)>;

/// Makes a detached signature of the content that `feed` passes on, in memory that does not depend
/// on its size: CMS SignedData in DER, as made by PKCS7Msg::Sign. docs/signing.md lists what must
/// fail, and how.
///
/// @param signer      PEM or PKCS#12 (recognised by content; only PKCS#12 on Windows), at most 16 MiB.
/// @param signerText  its pass phrase, up to its first NUL; empty when it has none. The caller wipes it.
/// @param feed        called once, and only if the signer can sign: a wrong pass phrase is detected
///                    first.
/// @return false, with the last error set, when `feed` returns false or no signature could be made;
///         the signature is then empty. Exceptions of `feed` pass through; nothing else is thrown.
///         Any thread.
KIV_EXPORT bool SignDetached(const KivGuiBase::File& signer, const KivGuiBase::AnsiStr& signerText,
                             const ContentFeed& feed, KivGuiBase::Blob& signature);

}  // namespace KivOssSec

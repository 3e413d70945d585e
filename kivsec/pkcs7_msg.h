#pragma once

#include "kivgui/blob.h"
#include "kivgui/export.h"
#include "kivgui/file.h"

/// The security layer: S/MIME signatures (RFC 8551), made by the system's cryptography: OpenSSL 3
/// on POSIX systems, CryptoAPI on Windows.
namespace KivOssSec {

using KivGuiBase::AnsiStr;
using KivGuiBase::Blob;
using KivGuiBase::File;

/// Makes one signed message: call Sign, then SaveMIME.
///
/// Failure is `false` with the reason in the calling thread's last error; docs/signing.md lists the
/// codes. Nothing is thrown or printed, and nobody is asked for a pass phrase. One thread at a
/// time; objects on different threads do not interfere.
class KIV_EXPORT PKCS7Msg {
public:
    PKCS7Msg() noexcept = default;
    PKCS7Msg(const PKCS7Msg&) = delete;
    PKCS7Msg& operator=(const PKCS7Msg&) = delete;
    ~PKCS7Msg() = default;

    /// Signs a file's bytes as they are, with SHA-256 and the current time (RFC 5652, 5). The file
    /// is read in pieces, and must not change until SaveMIME has returned.
    ///
    /// @param content     an entity with its header block, and CR LF at its line ends.
    /// @param signer      PEM or PKCS#12 (recognised by content; only PKCS#12 on Windows), at most
    ///                    16 MiB: one private key, its certificate, and any number of others, which
    ///                    are sent along.
    /// @param signerText  the pass phrase of `signer`, up to its first NUL; empty when it has none.
    /// @param detached    must be true: the signature is a separate part beside the content. False
    ///                    fails with kErrorNotSupported, because a signature around the content
    ///                    hides the text from every mail program that does not know S/MIME.
    /// @return after false there is nothing to save. Keys and pass phrases are wiped from memory.
    bool Sign(const File& content, const File& signer, const AnsiStr& signerText,
              bool detached) noexcept;

    /// Writes the signed content as a multipart/signed message (RFC 8551, 3.5.3), in pieces: the
    /// outer headers, "MIME-Version: 1.0", Content-Type, the content byte for byte, and the
    /// signature in base64.
    ///
    /// @param output        created or replaced; must not be the content file. A part of it may be
    ///                      left after a failure.
    /// @param outerHeaders  whole lines that each end in CR LF, none of them empty, and no
    ///                      Content- or MIME-Version field; may be empty.
    /// @param mimeVersion   write the MIME-Version line; false only for an entity inside another.
    /// @return false with kErrorInvalidParameter when nothing has been signed, `outerHeaders` is no
    ///         block of header lines, or `output` is the content's path.
    bool SaveMIME(const File& output, const AnsiStr& outerHeaders, bool mimeVersion) noexcept;

private:
    File content_;
    Blob signature_;  ///< CMS SignedData in DER
};

}  // namespace KivOssSec

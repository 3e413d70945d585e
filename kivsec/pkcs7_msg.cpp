#include "kivsec/pkcs7_msg.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

#include "kivgui/convert.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/memory.h"
#include "kivgui/random.h"
#include "kivsec/detached_signature.h"
#include "kivsec/signed_text.h"

// Signing is in detached_signature.h; here is the message around the signature: RFC
// 1847, 2.1 and RFC 8551, 3.5.3.
//
// The signature covers the bytes of the content file, so these must reach the reader unchanged:
// they are copied as they are, between boundary lines of random digits that the file is searched
// for first. The file is read three times (digest, search, copy), in pieces, so memory does not
// depend on its size.

namespace KivOssSec {

namespace {

using KivGuiBase::DiskFile;
using KivGuiBase::SetLastError;

constexpr unsigned kPiece = 0x8000;

/// Returns true if the text is whole header lines and does not end the header block.
bool IsHeaderBlock(std::string_view text) noexcept {
    if (text.empty()) return true;
    return text.ends_with("\r\n") && !text.starts_with("\r\n") &&
           text.find("\r\n\r\n") == std::string_view::npos;
}

/// Searches a file for a text. @return false when the file cannot be read.
bool Search(const File& file, std::string_view text, bool& found) noexcept {
    DiskFile source;
    if (!source.Open(file, DiskFile::Mode::read)) return false;
    char buffer[kPiece];
    found = false;
    // The end of each piece is kept, because the text may begin there.
    for (size_t kept = 0;;) {
        unsigned got = 0;
        if (!source.Read(buffer + kept, static_cast<unsigned>(kPiece - kept), got)) return false;
        const std::string_view piece(buffer, kept + got);
        found = piece.find(text) != std::string_view::npos;
        if (found || got == 0) return true;
        kept = std::min(piece.size(), text.size() - 1);
        std::memmove(buffer, buffer + piece.size() - kept, kept);
    }
}

/// A boundary that does not occur in the file. Empty, with the last error set, when the file cannot
/// be read, memory runs out or the system has no random numbers.
AnsiStr FindBoundary(const File& content) noexcept {
    constexpr int kTries = 100;  // one is enough, unless the random numbers are not random
    for (int i = 0; i < kTries; ++i) {
        unsigned char random[16];
        if (!KivGuiBase::GetUnpredictableBytes(random, sizeof random)) return {};
        const KivGuiBase::MemoryWatch watch;
        const AnsiStr digits = KivGuiBase::Binary2B16Str(random, sizeof random, 0, "");
        // "=_" does not occur in quoted-printable or base64 text (RFC 2045, 6.7).
        AnsiStr boundary = "=_kivsec-" + digits;
        bool found = true;
        if (watch.HasFailed() || !Search(content, boundary, found)) return {};
        if (!found) return boundary;
    }
    SetLastError(KivGuiBase::kErrorSigningFailed);
    return {};
}

/// Passes the bytes of a file on.
bool Feed(const File& file, const TakeContent& take) {
    DiskFile source;
    if (!source.Open(file, DiskFile::Mode::read)) return false;
    char buffer[kPiece];
    for (unsigned got = 0; source.Read(buffer, kPiece, got);) {
        if (got == 0) return true;
        if (!take(buffer, got)) return false;
    }
    return false;
}

class Output {
public:
    bool Open(const File& file) noexcept { return file_.Open(file, DiskFile::Mode::create); }
    bool Close() noexcept { return file_.Close(); }

    bool Write(std::string_view text) noexcept {
        return file_.Write(text.data(), static_cast<unsigned>(text.size()));
    }

    bool WriteBoundaryLine(const AnsiStr& boundary, std::string_view end) noexcept {
        return Write("\r\n--") && Write(boundary) && Write(end);
    }

    bool Copy(const File& file) noexcept {
        const auto write = [this](const char* bytes, size_t size) {
            return file_.Write(bytes, static_cast<unsigned>(size));
        };
        return Feed(file, std::cref(write));
    }

private:
    DiskFile file_;
};

bool WriteHeader(Output& output, const AnsiStr& outerHeaders, bool mimeVersion,
                 const AnsiStr& boundary) noexcept {
    // On one line, for readers that do not unfold.
    return output.Write(outerHeaders) && (!mimeVersion || output.Write("MIME-Version: 1.0\r\n")) &&
           output.Write(
               "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\"; "
               "micalg=sha-256; boundary=\"") &&
           output.Write(boundary) && output.Write("\"\r\n");
}

bool WriteSignature(Output& output, const Blob& signature) noexcept {
    const AnsiStr text =
        KivGuiBase::Binary2B64Str(signature.GetData(), signature.GetSize(), kBase64Line, "\r\n");
    if (text.IsEmpty()) {
        SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
    return output.Write(kSignatureHeader) && output.Write(text) && output.Write("\r\n");
}

bool WriteSignedMessage(const File& content, const Blob& signature, const AnsiStr& outerHeaders,
                        bool mimeVersion, const File& output) noexcept {
    if (!IsHeaderBlock(outerHeaders)) {
        SetLastError(KivGuiBase::kErrorInvalidParameter);
        return false;
    }
    const AnsiStr boundary = FindBoundary(content);
    if (boundary.IsEmpty()) return false;
    Output target;
    // The line end before a boundary line belongs to that line (RFC 2046, 5.1.1), so content that
    // does not end in one stays as it was signed.
    return target.Open(output) && WriteHeader(target, outerHeaders, mimeVersion, boundary) &&
           target.Write(kPreamble) && target.WriteBoundaryLine(boundary, "\r\n") &&
           target.Copy(content) && target.WriteBoundaryLine(boundary, "\r\n") &&
           WriteSignature(target, signature) && target.WriteBoundaryLine(boundary, "--\r\n") &&
           target.Close();
}

}  // namespace

bool PKCS7Msg::Sign(const File& content, const File& signer, const AnsiStr& signerText,
                    bool detached) noexcept {
    content_ = content;
    signature_ = Blob();
    if (!detached) {
        SetLastError(KivGuiBase::kErrorNotSupported);
        return false;
    }
    const auto feed = [&content](const TakeContent& take) { return Feed(content, take); };
    return SignDetached(signer, signerText, std::cref(feed), signature_);
}

bool PKCS7Msg::SaveMIME(const File& output, const AnsiStr& outerHeaders,
                        bool mimeVersion) noexcept {
    if (signature_.IsEmpty() || output.GetPath() == content_.GetPath()) {
        SetLastError(KivGuiBase::kErrorInvalidParameter);
        return false;
    }
    return WriteSignedMessage(content_, signature_, outerHeaders, mimeVersion, output);
}

}  // namespace KivOssSec

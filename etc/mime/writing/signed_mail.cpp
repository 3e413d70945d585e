#include "mime/writing/signed_mail.h"

#include <functional>
#include <utility>

#include "kivgui/convert.h"
#include "kivgui/error.h"
#include "kivsec/detached_signature.h"
#include "kivsec/secret.h"
#include "kivsec/signed_text.h"
#include "mime/mail/file_error.h"
#include "mime/mail/whole.h"
#include "mime/writing/write_failure.h"

// The entity passes by once: each piece is looked at, is digested, and is passed on. What the signature
// covers is what the reader gets, so its text must be one that no mail server has to repair.

namespace MIME {

using KivGuiBase::AnsiStr;
using KivGuiBase::Blob;
using KivGuiBase::File;

namespace {

constexpr char kWhat[] = "Could not create message signature: ";

/// Overwrites a text and what its memory held before.
void WipeText(std::string& text) noexcept {
    text.resize(text.capacity());
    KivOssSec::Wipe(text.data(), text.size());
    text.clear();
}

/// A copy of a pass phrase, for the base layer.
class PassPhrase {
public:
    explicit PassPhrase(const std::string& text)
        : size_(text.size()), copy_(Whole([&] { return AnsiStr(text); })) {}
    ~PassPhrase() {
        // Nobody else has a handle to the copy any more.
        KivOssSec::Wipe(const_cast<char*>(copy_.GetStr()), size_);
    }
    PassPhrase(const PassPhrase&) = delete;
    PassPhrase& operator=(const PassPhrase&) = delete;

    const AnsiStr& GetStr() const noexcept { return copy_; }

private:
    size_t size_;
    AnsiStr copy_;
};

/// Finds what verifiers would read otherwise than it was signed (RFC 8551, 3.1.1).
class LineCheck {
public:
    void Take(std::string_view piece) {
        for (const char c : piece) {
            if (isAfterCr_ != (c == '\n')) FailForLine();
            if (c == '\0') Fail(ErrorCode::cannotSign, kWhat + std::string("a line has a NUL"));
            isAfterCr_ = c == '\r';
        }
    }
    void Finish() const {
        if (isAfterCr_) FailForLine();
    }

private:
    [[noreturn]] static void FailForLine() {
        Fail(ErrorCode::cannotSign, kWhat + std::string("a line does not end in CR LF"));
    }

    bool isAfterCr_ = false;
};

[[noreturn]] void FailForSigner(const std::filesystem::path& file) {
    const uint32_t reason = KivGuiBase::GetLastError();
    const Error error = MakeFileError(ErrorCode::cannotSign, file, reason);
    throw WriteFailure{Error(error.GetCode(), kWhat + error.GetText()).SetSystemCode(reason)};
}

void WriteHead(std::string_view outerFields, const std::string& boundary, const Take& take) {
    take(outerFields);
    take(
        "MIME-Version: 1.0\r\n"
        "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\";\r\n"
        " micalg=sha-256; boundary=\"" +
        boundary + "\"\r\n");
    take(KivOssSec::kPreamble);
    take("\r\n--" + boundary + "\r\n");
}

void WriteTail(const Blob& signature, const std::string& boundary, const Take& take) {
    const AnsiStr text = Whole([&] {
        return KivGuiBase::Binary2B64Str(signature.GetData(), signature.GetSize(),
                                         KivOssSec::kBase64Line, "\r\n");
    });
    // The line end before a boundary line belongs to that line (RFC 2046, 5.1.1).
    take("\r\n--" + boundary + "\r\n");
    take(KivOssSec::kSignatureHeader);
    take(text);
    take("\r\n\r\n--" + boundary + "--\r\n");
}

}  // namespace

void CheckCanBeSigned(const Writing& writeEntity) {
    LineCheck check;
    writeEntity([&check](std::string_view piece) { check.Take(piece); });
    check.Finish();
}

MailSigner::MailSigner(std::filesystem::path file, std::string passPhrase)
    : file_(std::move(file)), passPhrase_(std::move(passPhrase)) {
    WipeText(passPhrase);
}

MailSigner::~MailSigner() {
    WipeText(passPhrase_);
}

MailSigner::MailSigner(MailSigner&& other) noexcept
    : file_(std::move(other.file_)), passPhrase_(std::move(other.passPhrase_)) {
    WipeText(other.passPhrase_);
}

MailSigner& MailSigner::operator=(MailSigner&& other) noexcept {
    if (this == &other) return *this;
    WipeText(passPhrase_);
    file_ = std::move(other.file_);
    passPhrase_ = std::move(other.passPhrase_);
    WipeText(other.passPhrase_);
    return *this;
}

void MailSigner::Write(std::string_view outerFields, const std::string& boundary,
                       const Writing& writeEntity, const Take& take) const {
    const auto feed = [&](const KivOssSec::TakeContent& digest) {
        WriteHead(outerFields, boundary, take);
        LineCheck check;
        writeEntity([&](std::string_view piece) {
            check.Take(piece);
            if (!digest(piece.data(), piece.size())) FailForSigner(file_);
            take(piece);
        });
        check.Finish();
        return true;
    };
    const PassPhrase passPhrase(passPhrase_);
    const File signer = Whole([&] { return File(file_); });
    Blob signature;
    if (!KivOssSec::SignDetached(signer, passPhrase.GetStr(), std::cref(feed), signature)) {
        FailForSigner(file_);
    }
    WriteTail(signature, boundary, take);
}

}  // namespace MIME

#pragma once

#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/stream.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

namespace MIME {

/// The name of a temporary file. A file of that name is removed with this object.
class ScratchFile {
public:
    explicit ScratchFile(const char* name) noexcept
        : file_(KivGuiBase::FileType::temporary, name, "mime", true) {}
    ~ScratchFile() {
        if (file_.IsEmpty()) return;
        // The last error says why the signing failed, not that there was nothing to delete.
        const uint32_t reason = KivGuiBase::GetLastError();
        file_.Remove(true);
        KivGuiBase::SetLastError(reason);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const File& GetFile() const noexcept { return file_; }

    /// Makes the empty file, which only its owner can read. (Without it, the writer would make the
    /// file, and the user's settings would decide who can read the message.)
    bool Create() const noexcept {
        KivGuiBase::DiskFile made;
        return made.Open(file_, KivGuiBase::DiskFile::Mode::createNew) && made.Close();
    }

    /// Makes the file with a text up to its first NUL.
    bool Write(const AnsiStr& text) const noexcept {
        if (!Create()) return false;
        KivGuiBase::WriteStream stream(file_, KivGuiBase::WriteStreamMode::create);
        return stream.Write(text.GetStr()) && stream.Close();
    }

private:
    File file_;
};

inline void ReportSigningFailure(const char* what) noexcept {
    const uint32_t reason = KivGuiBase::GetLastError();
    const AnsiStr text = what + KivGuiBase::GetErrorMessage(reason, 0, 1);
    if (!text.IsEmpty()) KivGuiBase::SetErrorMessage(text);
    KivGuiBase::SetLastError(reason);
}

/// Signs with a security layer, which has the two functions of PKCS7Msg.
/// @return false leaves `result` empty.
template <class Security, class Scratch>
bool SignText(const AnsiStr& text, const AnsiStr& outerHeaders, const File& signerFile,
              const AnsiStr& signerText, AnsiStr& result) noexcept {
    const Scratch content("kivmime-sign-mime");
    const Scratch signedMessage("kivmime-sign-smime");
    if (content.GetFile().IsEmpty() || signedMessage.GetFile().IsEmpty()) return false;
    if (!content.Write(text)) return false;
    Security security;
    if (!security.Sign(content.GetFile(), signerFile, signerText, true)) {
        ReportSigningFailure("Could not create message signature: ");
        return false;
    }
    if (!signedMessage.Create() ||
        !security.SaveMIME(signedMessage.GetFile(), outerHeaders, true)) {
        ReportSigningFailure("Could not save signed message: ");
        return false;
    }
    KivGuiBase::ReadStream stream(signedMessage.GetFile(), KivGuiBase::ReadStreamMode::read);
    return stream.Read(result);
}

/// Message::Sign with a security layer and temporary files of the caller's choice: a test needs
/// some that fail.
template <class Security, class Scratch = ScratchFile>
AnsiStr SignMessage(const Message& message, const File& signerFile,
                    const AnsiStr& signerText) noexcept {
    const AnsiStr text = message.Serialize(false);
    const AnsiStr outerHeaders =
        text.IsEmpty() ? AnsiStr() : message.headers.Serialize(false, true);
    if (outerHeaders.IsEmpty()) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorOutOfMemory);
        return {};
    }
    // The content file would end there, and a part of the message be signed as the whole.
    if (text.Find('\0') != AnsiStr::kMaxLength) {
        KivGuiBase::SetErrorMessage("Could not sign the message: its text holds a NUL byte");
        KivGuiBase::SetLastError(KivGuiBase::kErrorInvalidData);
        return {};
    }
    return Guarded(AnsiStr(), [&] {
        AnsiStr result;
        SignText<Security, Scratch>(text, outerHeaders, signerFile, signerText, result);
        return result;
    });
}

}  // namespace MIME

#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "mime/mail/mail.h"

namespace MIME {

class ComposedMail;

/// What a file is called in the mail. Empty members are filled in.
struct FileOptions {
    std::string name = {};       ///< the name that recipients see; else that of the file
    std::string type = {};       ///< the media type; else that of the name's extension
    std::string contentId = {};  ///< without angle brackets; else, for an inline file, a new one
};

/// A file that the HTML shows; the HTML refers to it by its URL.
class KIV_EXPORT InlineFile {
public:
    const std::string& GetContentId() const noexcept { return contentId_; }
    /// "cid:..." (RFC 2392), ready for an HTML attribute.
    std::string GetUrl() const;

private:
    friend class Composer;
    explicit InlineFile(std::string contentId) : contentId_(std::move(contentId)) {}

    std::string contentId_;
};

/// Makes a mail.
///
///   MIME::Composer mail;
///   mail.From("Zoë Lund", "zoe@example.org").To("Bob", "bob@example.org").Subject("Übersicht");
///   mail.Text("Grüße aus Köln.\n").Attach("Übersicht März.pdf");
///   if (auto saved = mail.Save("out.eml"); !saved) return Fail(saved.error().GetText());
///
/// The written mail is complete: Date, Message-ID and MIME-Version are added where they are
/// missing. Attachments are in multipart/mixed, text and HTML in multipart/alternative, HTML and
/// its inline files in multipart/related (RFC 2046, 5.1; RFC 2387). Each body has the smallest
/// transfer encoding that is safe, and each line ends in CR LF.
///
/// Nothing is lost silently, and no given text can end a field or start one. A call with something
/// that cannot be sent, such as a bad address, only remembers the error; Save, WriteTo and ToString
/// then return the first such error and write nothing.
///
/// Texts are UTF-8. Files are read when the mail is written, in pieces; memory does not grow with
/// their size. One thread at a time. Throws std::bad_alloc.
class KIV_EXPORT Composer {
public:
    Composer();
    /// For tests: the same calls produce the same text. Boundaries and identifiers are made from
    /// `seed`, and the date is the start of 1970 unless it is set.
    explicit Composer(uint64_t seed);
    Composer(Composer&&) noexcept;
    Composer& operator=(Composer&&) noexcept;
    ~Composer();

    /// @name Addresses (RFC 5322, 3.6.2 and 3.6.3)
    /// Each call adds one mailbox. An address is "local@domain" in ASCII; a name may be any text,
    /// or empty. A single argument is a list as people write it: "Ann <ann@example.org>,
    /// bob@b.org". At least one From is required, and a Sender if there are several. Bcc is
    /// written; the program that sends the mail removes it.
    /// @{
    Composer& From(std::string_view name, std::string_view address);
    Composer& From(std::string_view list);
    Composer& Sender(std::string_view name, std::string_view address);
    Composer& Sender(std::string_view list);
    Composer& ReplyTo(std::string_view name, std::string_view address);
    Composer& ReplyTo(std::string_view list);
    Composer& To(std::string_view name, std::string_view address);
    Composer& To(std::string_view list);
    Composer& Cc(std::string_view name, std::string_view address);
    Composer& Cc(std::string_view list);
    Composer& Bcc(std::string_view name, std::string_view address);
    Composer& Bcc(std::string_view list);
    /// @}

    Composer& Subject(std::string_view text);  ///< any text; the last call counts
    /// The date; by default the time of the first Save, WriteTo or ToString.
    Composer& SentAt(std::chrono::sys_seconds time,
                     std::chrono::minutes zone = std::chrono::minutes(0));
    /// @param id  "left@right", with or without angle brackets (RFC 5322, 3.6.4).
    Composer& MessageId(std::string_view id);
    /// Makes the mail an answer to `mail`: sets In-Reply-To and References (RFC 5322, 3.6.4), the
    /// Subject with "Re: " unless one is set, and To, unless one is set, from the Reply-To or From
    /// of `mail`.
    Composer& Answer(const Mail& mail);
    /// Any other field, such as "List-Unsubscribe". Fields that have a function here, and Content-
    /// fields, are refused.
    Composer& AddField(std::string_view name, std::string_view value);

    /// @name Text
    /// Plain text and HTML are two forms of the same text; there is at most one of each. Line ends
    /// become CR LF. Text in a charset other than UTF-8 is sent as it is, with that label.
    /// @{
    Composer& Text(std::string_view text, std::string_view charset = "utf-8");
    Composer& Html(std::string_view html, std::string_view charset = "utf-8");
    /// Text that is read from a file in UTF-8 when the mail is written.
    Composer& TextFile(const std::filesystem::path& path);
    Composer& HtmlFile(const std::filesystem::path& path);
    /// @}

    /// @name Attachments, sent byte for byte
    /// @{
    /// A file, which is read when the mail is written.
    Composer& Attach(const std::filesystem::path& path, const FileOptions& options = {});
    /// Bytes in memory; `options.name` is required.
    Composer& AttachBytes(std::string bytes, const FileOptions& options);
    /// A part of a mail, decoded, with its name and type; that Mail must live until this one is
    /// written.
    Composer& Attach(const Entity& entity);
    /// A whole mail, as message/rfc822; that Mail must live until this one is written. If it cannot
    /// be sent that way (RFC 2046, 5.2.1), for example because of lines above 998 bytes, it is sent
    /// as a file.
    Composer& Attach(const Mail& mail);
    /// Files that the HTML shows (RFC 2392).
    InlineFile Inline(const std::filesystem::path& path, const FileOptions& options = {});
    InlineFile InlineBytes(std::string bytes, const FileOptions& options);
    /// @}

    /// Signs the written mail as S/MIME (RFC 8551). `signer` is a file with a key and its
    /// certificates, PEM or PKCS#12 (only PKCS#12 on Windows); The library wipes its copies of
    /// `passPhrase` from memory afterwards.
    Composer& SignWith(const std::filesystem::path& signer, std::string_view passPhrase = {});

    /// @name Writes the mail
    /// Repeated calls write the same mail. @return the first error of the earlier calls, or of
    /// writing.
    /// @{
    /// To a file, which is written under another name in the same folder and renamed when it is
    /// complete.
    Result<void> Save(const std::filesystem::path& path);
    /// To a function of the host, in pieces; `refused` when it returns false.
    Result<void> WriteTo(const Sink& sink);
    Result<std::string> ToString();
    /// @}

private:
    std::unique_ptr<ComposedMail> mail_;
};

}  // namespace MIME

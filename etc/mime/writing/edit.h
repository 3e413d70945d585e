#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail.h"
#include "mime/writing/composer.h"

namespace MIME {

class BodySource;
class EditedMail;
struct Draft;

/// A part to be added to a mail. A value.
class KIV_EXPORT NewPart {
public:
    /// Plain text in UTF-8.
    NewPart(std::string_view text);
    NewPart(const char* text) : NewPart(std::string_view(text)) {}
    NewPart(const std::string& text) : NewPart(std::string_view(text)) {}
    static NewPart Html(std::string_view html);
    /// An attachment, which is read when the mail is written.
    static NewPart File(const std::filesystem::path& path, const FileOptions& options = {});
    /// An attachment from memory; `options.name` is required.
    static NewPart Bytes(std::string bytes, const FileOptions& options);

private:
    friend class EditedMail;
    NewPart() = default;
    static NewPart MakeFile(std::shared_ptr<const BodySource> body, const FileOptions& options);

    std::shared_ptr<const Draft> draft_;
    Error error_;  ///< why there is no draft
};

/// A signature that no longer holds because an edit changed what it covers.
struct BrokenSignature {
    enum class Kind { smime, openPgp, dkim, other };
    Kind kind = Kind::other;
    /// The path of the multipart/signed entity, or the domain of the DKIM-Signature field (RFC 6376).
    std::string where;
};

/// The result of writing an edited mail.
struct EditOutcome {
    std::vector<BrokenSignature> brokenSignatures;
};

/// Changes a mail that was read, and leaves alone every byte that need not change: signatures over
/// other parts (S/MIME, OpenPGP, DKIM) stay valid. Without changes, the same bytes are written.
///
///   MIME::Edit edit(*mail);
///   for (const MIME::Entity& file : mail->GetAttachments())
///       if (file.HasExtension("exe")) edit.Replace(file, "[removed]\n");
///   edit.AddField("X-Filter", "cleaned");
///   auto saved = edit.Save("out.eml");
///
/// New lines end as those of the mail do. Texts are UTF-8; no given text can end a field or start
/// one. A call that is not possible only remembers the error; Save, WriteTo and ToString then
/// return the first such error and write nothing: notInMail for an entity of another mail;
/// cannotEdit for an entity that was removed before, is a uuencoded file, or is in a carried
/// message that is in a transfer encoding. The error has the entity's path. cannotEdit is also
/// returned when the mail is so damaged that its other parts would be read differently after the
/// changes.
///
/// The Mail must live as long as the Edit and is not changed. One thread at a time. Throws
/// std::bad_alloc.
class KIV_EXPORT Edit {
public:
    explicit Edit(const Mail& mail);
    Edit(Edit&&) noexcept;
    Edit& operator=(Edit&&) noexcept;
    ~Edit();

    /// @name Fields, of the whole mail or of one entity
    /// Address fields, identifiers and dates must be well-formed (badField, badAddress, badDate).
    /// Content-Transfer-Encoding, and Content-Type of a multipart or carried message, say how the
    /// body is to be read: they cannot be changed, and no other entity can be made a multipart or
    /// carried message.
    /// @{
    /// Adds a field at the end of the header block.
    Edit& AddField(std::string_view name, std::string_view value);
    Edit& AddField(const Entity& entity, std::string_view name, std::string_view value);
    /// Replaces the first field of that name, or adds one; others of that name are removed.
    Edit& SetField(std::string_view name, std::string_view value);
    Edit& SetField(const Entity& entity, std::string_view name, std::string_view value);
    /// Removes all fields of that name, and with them the lines of the header block that are not
    /// fields.
    Edit& RemoveField(std::string_view name);
    Edit& RemoveField(const Entity& entity, std::string_view name);
    /// @}

    /// @name Parts
    /// @{
    /// Replaces the whole entity, including its fields; of the mail itself only the Content- fields
    /// and the body.
    Edit& Replace(const Entity& entity, const NewPart& part);
    /// Removes an entity, but not the mail itself. A multipart left without parts gets an empty
    /// text.
    Edit& Remove(const Entity& entity);
    /// Adds a part after the last part of a multipart.
    Edit& Add(const Entity& multipart, const NewPart& part);
    /// Adds a file to the mail. If the mail is not a multipart/mixed, it becomes one, and its
    /// former body becomes the first part.
    Edit& Attach(const std::filesystem::path& path, const FileOptions& options = {});
    Edit& AttachBytes(std::string bytes, const FileOptions& options);
    /// Adds plain text, on separate lines, at the end of a text; in HTML, before the end of its
    /// body. If the text's charset cannot represent it, the text becomes UTF-8.
    Edit& AppendText(const Entity& entity, std::string_view text);
    /// The same for each text of the mail, in all its forms; cannotEdit when it has none.
    Edit& AddFooter(std::string_view text);
    /// @}

    /// Signs the written mail; see Composer::SignWith. All fields except the Content- fields stay
    /// outside. Fails with cannotSign when a line does not end in CR LF.
    Edit& SignWith(const std::filesystem::path& signer, std::string_view passPhrase = {});

    /// The signatures that are broken by the changes so far.
    std::vector<BrokenSignature> GetBrokenSignatures() const;

    /// @name Writes the mail; see Composer
    /// On Windows, a file of 4 MiB or more cannot be saved over itself while the Mail lives.
    /// @{
    Result<EditOutcome> Save(const std::filesystem::path& path);
    Result<EditOutcome> WriteTo(const Sink& sink);
    Result<std::string> ToString();
    /// @}

private:
    std::unique_ptr<EditedMail> mail_;
};

}  // namespace MIME

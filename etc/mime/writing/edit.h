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

/// A part to be put into a mail. A value.
class KIV_EXPORT NewPart {
public:
    /// Plain text in UTF-8.
    NewPart(std::string_view text);
    NewPart(const char* text) : NewPart(std::string_view(text)) {}
    NewPart(const std::string& text) : NewPart(std::string_view(text)) {}
    static NewPart Html(std::string_view html);
    /// An attachment, which is read when the mail is written.
    static NewPart File(const std::filesystem::path& path, const FileOptions& options = {});
    /// An attachment from memory; `options.name` is needed.
    static NewPart Bytes(std::string bytes, const FileOptions& options);

private:
    friend class EditedMail;
    NewPart() = default;
    static NewPart MakeFile(std::shared_ptr<const BodySource> body, const FileOptions& options);

    std::shared_ptr<const Draft> draft_;
    Error error_;  ///< why there is no draft
};

/// A signature that covers what an edit has changed, and no longer holds.
struct BrokenSignature {
    enum class Kind { smime, openPgp, dkim, other };
    Kind kind = Kind::other;
    /// The path of the multipart/signed entity, or the domain of the DKIM-Signature field (RFC 6376).
    std::string where;
};

/// What was written.
struct EditOutcome {
    std::vector<BrokenSignature> brokenSignatures;
};

/// Changes a mail that was read, and leaves every byte alone that need not change: signatures over
/// other parts (S/MIME, OpenPGP, DKIM) stay valid. Without a change, the same bytes are written.
///
///   MIME::Edit edit(*mail);
///   for (const MIME::Entity& file : mail->GetAttachments())
///       if (file.HasExtension("exe")) edit.Replace(file, "[removed]\n");
///   edit.AddField("X-Filter", "cleaned");
///   auto saved = edit.Save("out.eml");
///
/// New lines end as those of the mail do. Texts are UTF-8; nothing that is given can end a field or
/// start one. A call that cannot be done does nothing but remember that; Save, WriteTo and ToString
/// then return the first such error, and write nothing: notInMail for an entity of another mail,
/// cannotEdit for one that was removed before, is a uuencoded file, or lies in a carried message that
/// is in a transfer encoding. The entity's path is in the error. cannotEdit comes also when a mail is so
/// damaged that after the changes its other parts would be read otherwise.
///
/// The Mail must live as long, and stays as it is. One thread at a time. Throws std::bad_alloc.
class KIV_EXPORT Edit {
public:
    explicit Edit(const Mail& mail);
    Edit(Edit&&) noexcept;
    Edit& operator=(Edit&&) noexcept;
    ~Edit();

    /// @name Fields, of the whole mail or of one entity
    /// Address fields, identifiers and dates must be well-formed (badField, badAddress, badDate).
    /// Content-Transfer-Encoding, and Content-Type of a multipart or carried message, say how the body
    /// is to be read: they cannot be changed, and nothing else can be made one of these.
    /// @{
    /// At the end of the header block.
    Edit& AddField(std::string_view name, std::string_view value);
    Edit& AddField(const Entity& entity, std::string_view name, std::string_view value);
    /// In the place of the first field of that name; others of that name are removed.
    Edit& SetField(std::string_view name, std::string_view value);
    Edit& SetField(const Entity& entity, std::string_view name, std::string_view value);
    /// All of that name, and then also the lines of the header that are no field.
    Edit& RemoveField(std::string_view name);
    Edit& RemoveField(const Entity& entity, std::string_view name);
    /// @}

    /// @name Parts
    /// @{
    /// The whole entity, its fields too; of the mail itself only the Content- fields and the body.
    Edit& Replace(const Entity& entity, const NewPart& part);
    /// Not the mail itself. Where a multipart has no part any more, it gets an empty text.
    Edit& Remove(const Entity& entity);
    /// After the last part of a multipart.
    Edit& Add(const Entity& multipart, const NewPart& part);
    /// Adds a file to the mail, which becomes a multipart/mixed if it is none: what was its body is
    /// then the first part.
    Edit& Attach(const std::filesystem::path& path, const FileOptions& options = {});
    Edit& AttachBytes(std::string bytes, const FileOptions& options);
    /// Adds plain text, in lines of its own, at the end of a text; in HTML, before the end of its body.
    /// Where the text's charset cannot have it, the text becomes UTF-8.
    Edit& AppendText(const Entity& entity, std::string_view text);
    /// The same for each text of the mail, in all its forms; cannotEdit when it has none.
    Edit& AddFooter(std::string_view text);
    /// @}

    /// Signs what is written; see Composer::SignWith. Fields but the Content- fields stay outside.
    /// Fails with cannotSign when a line does not end in CR LF.
    Edit& SignWith(const std::filesystem::path& signer, std::string_view passPhrase = {});

    /// The signatures that the changes so far break.
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

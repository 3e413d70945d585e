#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail.h"
#include "mime/writing/composer.h"
#include "mime/writing/draft.h"
#include "mime/writing/field_text.h"
#include "mime/writing/file_part.h"
#include "mime/writing/signed_mail.h"

namespace MIME {

/// The fields of people, in the order in which they are written.
enum class Role : size_t { from, sender, replyTo, to, cc, bcc };

/// What a Composer was given, checked, and how it is written. All functions throw WriteFailure.
class ComposedMail {
public:
    explicit ComposedMail(std::optional<uint64_t> seed)
        : isForTests_(seed.has_value()), unique_(seed) {}

    /// One of the two forms of the text.
    struct Text {
        SharedBody body;      ///< null for none
        std::string charset;  ///< empty for UTF-8, which is then checked
    };

    void AddPerson(Role role, Mailbox mailbox);
    void AddPeople(Role role, std::string_view list);
    void SetSubject(std::string_view text);
    void SetDate(const Date& date);
    void SetMessageId(std::string_view id);
    void AddField(std::string_view name, std::string_view value);
    void Answer(const Mail& mail);
    void SetText(Text text) { text_ = std::move(text); }
    void SetHtml(Text html) { html_ = std::move(html); }
    void Attach(SharedBody body, const FileOptions& options);
    void Attach(const Mail& mail);
    /// @return the Content-ID.
    std::string Inline(SharedBody body, const FileOptions& options);
    void SetSigner(MailSigner signer) { signer_.emplace(std::move(signer)); }

    void Write(const Take& take);

    std::optional<Error> firstError;  ///< of the calls of the host

private:
    std::vector<Mailbox>& GetPeople(Role role) { return people_[static_cast<size_t>(role)]; }
    void Complete();
    void CheckSender();
    std::string MakeFields();
    Draft MakeRelated(Draft page) const;
    Draft MakeBody() const;
    Draft MakeWhole() const;

    bool isForTests_;
    UniqueText unique_;
    std::array<std::vector<Mailbox>, 6> people_;
    std::optional<std::string> subject_;
    std::optional<Date> date_;
    std::string messageId_;
    std::vector<std::string> inReplyTo_;
    std::vector<std::string> references_;
    std::string otherFields_;
    Text text_;
    Text html_;
    std::vector<FilePart> inlineFiles_;
    std::vector<FilePart> attachments_;
    std::optional<MailSigner> signer_;
};

}  // namespace MIME

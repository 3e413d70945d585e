#include "mime/writing/composer.h"

#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "mime/writing/composed_mail.h"
#include "mime/writing/target.h"
#include "mime/writing/write_failure.h"

// The calls of hosts. Each is checked at once, and the first that cannot be done is remembered.

namespace MIME {

namespace {

/// Runs a call of the host.
template <class Call>
void Do(ComposedMail& mail, Call call) {
    const Result<void> done = Caught<void>(call);
    if (!done && !mail.firstError) mail.firstError = done.error();
}

ComposedMail::Text MakeText(SharedBody text, std::string_view charset) {
    const bool isUtf8 = KivGuiBase::EqualsCaseless(charset, "utf-8");
    return {MakeCanonicalSource(std::move(text)), isUtf8 ? "" : std::string(charset)};
}

}  // namespace

std::string InlineFile::GetUrl() const {
    // Neither part of a URL's syntax (RFC 3986, 2) nor of an HTML attribute's.
    constexpr std::string_view kEscaped = "\"#%&'/<>?[\\]^`{|}";
    std::string url = "cid:";
    for (const char c : contentId_) {
        const bool isPlain = c > ' ' && c < '\x7F' && kEscaped.find(c) == std::string_view::npos;
        char escape[KivGuiBase::kHexEscapeLength] = {'%'};
        KivGuiBase::WriteHexPair(c, escape + 1);
        isPlain ? url += c : url.append(escape, sizeof escape);
    }
    return url;
}

Composer::Composer() : mail_(std::make_unique<ComposedMail>(std::nullopt)) {}
Composer::Composer(uint64_t seed) : mail_(std::make_unique<ComposedMail>(seed)) {}
Composer::Composer(Composer&&) noexcept = default;
Composer& Composer::operator=(Composer&&) noexcept = default;
Composer::~Composer() = default;

#define MIME_ROLE(function, role)                                                    \
    Composer& Composer::function(std::string_view name, std::string_view address) {  \
        Do(*mail_, [&] {                                                             \
            mail_->AddPerson(Role::role, {std::string(name), std::string(address)}); \
        });                                                                          \
        return *this;                                                                \
    }                                                                                \
    Composer& Composer::function(std::string_view list) {                            \
        Do(*mail_, [&] { mail_->AddPeople(Role::role, list); });                     \
        return *this;                                                                \
    }
MIME_ROLE(From, from)
MIME_ROLE(Sender, sender)
MIME_ROLE(ReplyTo, replyTo)
MIME_ROLE(To, to)
MIME_ROLE(Cc, cc)
MIME_ROLE(Bcc, bcc)
#undef MIME_ROLE

Composer& Composer::Subject(std::string_view text) {
    Do(*mail_, [&] { mail_->SetSubject(text); });
    return *this;
}

Composer& Composer::SentAt(std::chrono::sys_seconds time, std::chrono::minutes zone) {
    Do(*mail_, [&] { mail_->SetDate({time, zone, true}); });
    return *this;
}

Composer& Composer::MessageId(std::string_view id) {
    Do(*mail_, [&] { mail_->SetMessageId(id); });
    return *this;
}

Composer& Composer::Answer(const Mail& mail) {
    Do(*mail_, [&] { mail_->Answer(mail); });
    return *this;
}

Composer& Composer::AddField(std::string_view name, std::string_view value) {
    Do(*mail_, [&] { mail_->AddField(name, value); });
    return *this;
}

Composer& Composer::Text(std::string_view text, std::string_view charset) {
    mail_->SetText(MakeText(MakeTextSource(std::string(text)), charset));
    return *this;
}

Composer& Composer::Html(std::string_view html, std::string_view charset) {
    mail_->SetHtml(MakeText(MakeTextSource(std::string(html)), charset));
    return *this;
}

Composer& Composer::TextFile(const std::filesystem::path& path) {
    mail_->SetText(MakeText(MakeFileSource(path), "utf-8"));
    return *this;
}

Composer& Composer::HtmlFile(const std::filesystem::path& path) {
    mail_->SetHtml(MakeText(MakeFileSource(path), "utf-8"));
    return *this;
}

Composer& Composer::Attach(const std::filesystem::path& path, const FileOptions& options) {
    Do(*mail_, [&] { mail_->Attach(MakeFileSource(path), NameFile(options, path)); });
    return *this;
}

Composer& Composer::AttachBytes(std::string bytes, const FileOptions& options) {
    Do(*mail_, [&] { mail_->Attach(MakeTextSource(std::move(bytes)), options); });
    return *this;
}

Composer& Composer::Attach(const Entity& entity) {
    Do(*mail_, [&] {
        mail_->Attach(MakeEntitySource(entity),
                      {.name = entity.GetSafeFileName(), .type = entity.GetMediaType()});
    });
    return *this;
}

Composer& Composer::Attach(const Mail& mail) {
    Do(*mail_, [&] { mail_->Attach(mail); });
    return *this;
}

InlineFile Composer::Inline(const std::filesystem::path& path, const FileOptions& options) {
    std::string id;
    Do(*mail_, [&] { id = mail_->Inline(MakeFileSource(path), NameFile(options, path)); });
    return InlineFile(std::move(id));
}

InlineFile Composer::InlineBytes(std::string bytes, const FileOptions& options) {
    std::string id;
    Do(*mail_, [&] { id = mail_->Inline(MakeTextSource(std::move(bytes)), options); });
    return InlineFile(std::move(id));
}

Composer& Composer::SignWith(const std::filesystem::path& signer, std::string_view passPhrase) {
    mail_->SetSigner(MailSigner(signer, std::string(passPhrase)));
    return *this;
}

Result<void> Composer::Save(const std::filesystem::path& path) {
    return SaveTo(path, [this](const Take& take) { mail_->Write(take); });
}

Result<void> Composer::WriteTo(const Sink& sink) {
    return PassTo(sink, [this](const Take& take) { mail_->Write(take); });
}

Result<std::string> Composer::ToString() {
    return Collect([this](const Take& take) { mail_->Write(take); });
}

}  // namespace MIME

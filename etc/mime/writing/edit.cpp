#include "mime/writing/edit.h"

#include <utility>

#include "mime/writing/edited_mail.h"
#include "mime/writing/file_part.h"
#include "mime/writing/target.h"
#include "mime/writing/write_failure.h"

// The calls of hosts. Each is checked at once, and the first that cannot be done is remembered.

namespace MIME {

namespace {

template <class Call>
void Do(EditedMail& mail, Call call) {
    const Result<void> done = Caught<void>(call);
    if (!done && !mail.firstError) mail.firstError = done.error();
}

/// The same for a change of an entity, which the error then names.
template <class Call>
void Do(EditedMail& mail, const Entity& entity, Call call) {
    const bool isFirst = !mail.firstError.has_value();
    Do(mail, call);
    if (isFirst && mail.firstError) {
        mail.firstError->SetPlace(entity.GetRange().offset, entity.GetPath());
    }
}

std::shared_ptr<const Draft> MakeText(std::string_view text, const char* type) {
    Draft draft;
    draft.type = type;
    draft.body = MakeCanonicalSource(MakeTextSource(std::string(text)));
    draft.mustBeUtf8 = true;
    return std::make_shared<const Draft>(std::move(draft));
}

/// Writes the mail. What is said about it is found before: once it is written, nothing may fail.
template <class WriteMail>
Result<EditOutcome> Finish(EditedMail& mail, WriteMail write) {
    EditOutcome outcome{mail.FindBrokenSignatures()};
    const Result<void> written = write([&mail](const Take& take) { mail.Write(take); });
    if (!written) return written.error();
    return Result<EditOutcome>(std::move(outcome));
}

}  // namespace

NewPart::NewPart(std::string_view text) : draft_(MakeText(text, "text/plain")) {}

NewPart NewPart::Html(std::string_view html) {
    NewPart part;
    part.draft_ = MakeText(html, "text/html");
    return part;
}

NewPart NewPart::File(const std::filesystem::path& path, const FileOptions& options) {
    return MakeFile(MakeFileSource(path), NameFile(options, path));
}

NewPart NewPart::Bytes(std::string bytes, const FileOptions& options) {
    return MakeFile(MakeTextSource(std::move(bytes)), options);
}

NewPart NewPart::MakeFile(std::shared_ptr<const BodySource> body, const FileOptions& options) {
    NewPart part;
    const Result<void> made = Caught<void>([&] {
        part.draft_ = std::make_shared<const Draft>(
            MakeFileDraft(MakeFilePart(std::move(body), options), "attachment"));
    });
    if (!made) part.error_ = made.error();
    return part;
}

Edit::Edit(const Mail& mail) : mail_(std::make_unique<EditedMail>(mail)) {}
Edit::Edit(Edit&&) noexcept = default;
Edit& Edit::operator=(Edit&&) noexcept = default;
Edit::~Edit() = default;

Edit& Edit::AddField(std::string_view name, std::string_view value) {
    return AddField(mail_->GetTop(), name, value);
}

Edit& Edit::AddField(const Entity& entity, std::string_view name, std::string_view value) {
    Do(*mail_, entity,
       [&] { mail_->ChangeField(entity, EditedMail::FieldChange::add, name, value); });
    return *this;
}

Edit& Edit::SetField(std::string_view name, std::string_view value) {
    return SetField(mail_->GetTop(), name, value);
}

Edit& Edit::SetField(const Entity& entity, std::string_view name, std::string_view value) {
    Do(*mail_, entity,
       [&] { mail_->ChangeField(entity, EditedMail::FieldChange::set, name, value); });
    return *this;
}

Edit& Edit::RemoveField(std::string_view name) {
    return RemoveField(mail_->GetTop(), name);
}

Edit& Edit::RemoveField(const Entity& entity, std::string_view name) {
    Do(*mail_, entity,
       [&] { mail_->ChangeField(entity, EditedMail::FieldChange::remove, name, {}); });
    return *this;
}

Edit& Edit::Replace(const Entity& entity, const NewPart& part) {
    Do(*mail_, entity, [&] { mail_->Replace(entity, part); });
    return *this;
}

Edit& Edit::Remove(const Entity& entity) {
    Do(*mail_, entity, [&] { mail_->Remove(entity); });
    return *this;
}

Edit& Edit::Add(const Entity& multipart, const NewPart& part) {
    Do(*mail_, multipart, [&] { mail_->Add(multipart, part); });
    return *this;
}

Edit& Edit::Attach(const std::filesystem::path& path, const FileOptions& options) {
    Do(*mail_, [&] { mail_->Attach(NewPart::File(path, options)); });
    return *this;
}

Edit& Edit::AttachBytes(std::string bytes, const FileOptions& options) {
    Do(*mail_, [&] { mail_->Attach(NewPart::Bytes(std::move(bytes), options)); });
    return *this;
}

Edit& Edit::AppendText(const Entity& entity, std::string_view text) {
    Do(*mail_, entity, [&] { mail_->AppendText(entity, text); });
    return *this;
}

Edit& Edit::AddFooter(std::string_view text) {
    Do(*mail_, [&] { mail_->AddFooter(text); });
    return *this;
}

Edit& Edit::SignWith(const std::filesystem::path& signer, std::string_view passPhrase) {
    mail_->SetSigner(MailSigner(signer, std::string(passPhrase)));
    return *this;
}

std::vector<BrokenSignature> Edit::GetBrokenSignatures() const {
    return mail_->FindBrokenSignatures();
}

Result<EditOutcome> Edit::Save(const std::filesystem::path& path) {
    return Finish(*mail_, [&path](const Writing& write) { return SaveTo(path, write); });
}

Result<EditOutcome> Edit::WriteTo(const Sink& sink) {
    return Finish(*mail_, [&sink](const Writing& write) { return PassTo(sink, write); });
}

Result<std::string> Edit::ToString() {
    return Collect([this](const Take& take) { mail_->Write(take); });
}

}  // namespace MIME

#include "mime/writing/composed_mail.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/writing/write_failure.h"

// What is given is checked at once; writing makes a draft of it:
//
//   multipart/mixed               with attachments
//     multipart/alternative       with both text and HTML
//       text/plain
//       multipart/related         with inline files
//         text/html, the files
//     the attachments

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

constexpr std::string_view kLineEnd = "\r\n";

constexpr std::string_view kRoleNames[] = {"From", "Sender", "Reply-To", "To", "Cc", "Bcc"};

constexpr std::string_view GetName(Role role) {
    return kRoleNames[static_cast<size_t>(role)];
}

/// Fields that have functions of their own, or that are made here.
bool IsMadeHere(std::string_view name) {
    constexpr std::string_view kOthers[] = {"Subject",     "Date",       "Message-ID",
                                            "In-Reply-To", "References", "MIME-Version"};
    const auto isName = [name](std::string_view other) { return EqualsCaseless(name, other); };
    return std::any_of(std::begin(kRoleNames), std::end(kRoleNames), isName) ||
           std::any_of(std::begin(kOthers), std::end(kOthers), isName) ||
           KivGuiBase::StartsWithCaseless(name, "Content-");
}

/// Other programs' identifiers are left out where they are none.
bool IsIdentifier(const std::string& id) {
    return static_cast<bool>(Caught<void>([&] {
        static_cast<void>(WriteIdField("References", {&id, 1}, kLineEnd));
    }));
}

/// The subject of another program's mail, with blanks for control characters.
std::string MakeAnswerSubject(std::string subject) {
    const auto isControl = [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; };
    std::replace_if(subject.begin(), subject.end(), isControl, ' ');
    return KivGuiBase::StartsWithCaseless(subject, "Re:") ? subject : "Re: " + subject;
}

Draft MakeTextDraft(const ComposedMail::Text& text, const char* type) {
    Draft draft;
    draft.type = type;
    draft.body = text.body;
    draft.mustBeUtf8 = text.charset.empty();
    if (!text.charset.empty()) draft.parameters = {{"charset", text.charset}};
    return draft;
}

Draft MakeMultipart(const char* type, Draft first) {
    Draft draft;
    draft.type = type;
    draft.children.push_back(std::move(first));
    return draft;
}

}  // namespace

// ------------------------------------------------------------------------------- what is kept --

void ComposedMail::AddPerson(Role role, Mailbox mailbox) {
    CheckMailbox(GetName(role), mailbox);
    GetPeople(role).push_back(std::move(mailbox));
}

void ComposedMail::AddPeople(Role role, std::string_view list) {
    std::vector<Mailbox> mailboxes = ReadMailboxes(GetName(role), list);
    std::move(mailboxes.begin(), mailboxes.end(), std::back_inserter(GetPeople(role)));
}

void ComposedMail::SetSubject(std::string_view text) {
    static_cast<void>(WriteTextField("Subject", text, kLineEnd));
    subject_ = text;
}

void ComposedMail::SetDate(const Date& date) {
    static_cast<void>(WriteDateField("Date", date, kLineEnd));
    date_ = date;
}

void ComposedMail::SetMessageId(std::string_view id) {
    std::string text(id);
    static_cast<void>(WriteIdField("Message-ID", {&text, 1}, kLineEnd));
    messageId_ = std::move(text);
}

void ComposedMail::AddField(std::string_view name, std::string_view value) {
    CheckFieldName(name);
    if (IsMadeHere(name)) {
        Fail(ErrorCode::badField, std::string(name) + ": is set by a function of its own");
    }
    otherFields_ += WriteField(name, value, kLineEnd);
}

void ComposedMail::Answer(const Mail& mail) {
    std::vector<std::string> ids = mail.GetReferences();
    // RFC 5322, 3.6.4: without References, the one identifier of In-Reply-To is what came before.
    if (ids.empty() && mail.GetInReplyTo().size() == 1) ids = mail.GetInReplyTo();
    ids.push_back(mail.GetMessageId());
    std::erase_if(ids, [](const std::string& id) { return !IsIdentifier(id); });
    references_ = std::move(ids);
    inReplyTo_.clear();
    if (IsIdentifier(mail.GetMessageId())) inReplyTo_ = {mail.GetMessageId()};
    if (!subject_) SetSubject(MakeAnswerSubject(mail.GetSubject()));
    if (!GetPeople(Role::to).empty()) return;
    const AddressList replyTo = mail.GetReplyTo();
    for (const Address& address : replyTo.empty() ? mail.GetFrom() : replyTo) {
        AddPerson(Role::to, {address.GetName(), address.GetAddress()});
    }
}

void ComposedMail::Attach(SharedBody body, const FileOptions& options) {
    attachments_.push_back(MakeFilePart(std::move(body), options));
}

void ComposedMail::Attach(const Mail& mail) {
    const std::string_view text = mail.GetTop().GetRaw();
    FileOptions options{.name = mail.GetSubject(), .type = "message/rfc822"};
    options.name = MakeSentName(options.name.empty() ? "message" : options.name) + ".eml";
    SharedBody canonical = MakeCanonicalSource(MakeViewSource(text));
    const bool isMessage = CanBeVerbatim(*canonical);
    Attach(isMessage ? std::move(canonical) : MakeViewSource(text), options);
}

std::string ComposedMail::Inline(SharedBody body, const FileOptions& options) {
    FilePart file = MakeFilePart(std::move(body), options);
    if (file.contentId.empty()) file.contentId = unique_.Make() + "@inline.invalid";
    for (const FilePart& other : inlineFiles_) {
        if (other.contentId == file.contentId) {
            Fail(ErrorCode::badField, "two inline files have the Content-ID " + file.contentId);
        }
    }
    inlineFiles_.push_back(std::move(file));
    return inlineFiles_.back().contentId;
}

// ----------------------------------------------------------------------------- how it is written --

void ComposedMail::CheckSender() {
    const std::vector<Mailbox>& from = GetPeople(Role::from);
    const std::vector<Mailbox>& sender = GetPeople(Role::sender);
    if (from.empty()) Fail(ErrorCode::badField, "From: is missing");
    if (sender.size() > 1) Fail(ErrorCode::badField, "Sender: has several addresses");
    if (from.size() > 1 && sender.empty()) {
        Fail(ErrorCode::badField, "Sender: is missing, and From has several addresses");
    }
}

/// What every mail has (RFC 5322, 3.6). From now on it stays, so that the mail can be written again.
void ComposedMail::Complete() {
    CheckSender();
    if (!date_) {
        const auto now = std::chrono::system_clock::now();
        SetDate({isForTests_ ? std::chrono::sys_seconds()
                             : std::chrono::floor<std::chrono::seconds>(now),
                 std::chrono::minutes(0), true});
    }
    if (messageId_.empty()) {
        const std::string& address = GetPeople(Role::from).front().address;
        SetMessageId(unique_.Make() + address.substr(address.rfind('@')));
    }
}

std::string ComposedMail::MakeFields() {
    std::string fields;
    for (size_t role = 0; role < people_.size(); ++role) {
        if (!people_[role].empty()) {
            fields += WriteMailboxField(kRoleNames[role], people_[role], kLineEnd);
        }
    }
    if (subject_) fields += WriteTextField("Subject", *subject_, kLineEnd);
    fields += WriteDateField("Date", *date_, kLineEnd);
    fields += WriteIdField("Message-ID", {&messageId_, 1}, kLineEnd);
    if (!inReplyTo_.empty()) fields += WriteIdField("In-Reply-To", inReplyTo_, kLineEnd);
    if (!references_.empty()) fields += WriteIdField("References", references_, kLineEnd);
    return fields += otherFields_;
}

/// Joins the HTML and the files that it shows (RFC 2387).
Draft ComposedMail::MakeRelated(Draft page) const {
    if (inlineFiles_.empty()) return page;
    Draft related = MakeMultipart("multipart/related", std::move(page));
    related.parameters = {{"type", "text/html"}};
    for (const FilePart& file : inlineFiles_) {
        related.children.push_back(MakeFileDraft(file, "inline"));
    }
    return related;
}

/// The text, in one form or two.
Draft ComposedMail::MakeBody() const {
    const bool hasText = text_.body != nullptr;
    Draft text = MakeTextDraft(text_, "text/plain");
    text.mustBeUtf8 = text.mustBeUtf8 && hasText;
    if (html_.body == nullptr) return text;
    Draft page = MakeRelated(MakeTextDraft(html_, "text/html"));
    if (!hasText) return page;
    Draft alternative = MakeMultipart("multipart/alternative", std::move(text));
    alternative.children.push_back(std::move(page));
    return alternative;
}

Draft ComposedMail::MakeWhole() const {
    // Without HTML that shows them, inline files are attachments that come first.
    const bool hasPage = html_.body != nullptr;
    if (attachments_.empty() && (hasPage || inlineFiles_.empty())) return MakeBody();
    Draft mixed;
    mixed.type = "multipart/mixed";
    if (hasPage || text_.body != nullptr) mixed.children.push_back(MakeBody());
    if (!hasPage) {
        for (const FilePart& file : inlineFiles_) {
            mixed.children.push_back(MakeFileDraft(file, "inline"));
        }
    }
    for (const FilePart& file : attachments_) {
        mixed.children.push_back(MakeFileDraft(file, "attachment"));
    }
    return mixed;
}

void ComposedMail::Write(const Take& take) {
    if (firstError) throw WriteFailure{*firstError};
    Complete();
    std::string fields = MakeFields();
    Draft draft = MakeWhole();
    // A copy, so that the next time the boundaries are the same.
    UniqueText unique = unique_;
    if (!signer_) {
        draft.fields = std::move(fields) + "MIME-Version: 1.0\r\n" + draft.fields;
        PlanDraft(draft, unique);
        return WriteMessage(draft, kLineEnd, take);
    }
    const std::string boundary = unique.MakeBoundary();
    PlanDraft(draft, unique, {boundary});
    signer_->Write(
        fields, boundary,
        [&draft](const Take& takeSigned) { WriteDraft(draft, kLineEnd, takeSigned); }, take);
}

}  // namespace MIME

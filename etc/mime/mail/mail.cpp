#include "mime/mail/mail.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "kivgui/ascii.h"
#include "mime/mail/file_error.h"
#include "mime/mail/header_fields.h"
#include "mime/mail/message_tree.h"
#include "mime/mail/whole.h"
#include "mime/parser/scanner.h"

// Mails: how they are made, and what is looked for in the whole of one.

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

ErrorCode GetErrorCode(Limits::Kind limit) noexcept {
    switch (limit) {
        case Limits::Kind::depth:
            return ErrorCode::tooDeep;
        case Limits::Kind::parts:
            return ErrorCode::tooManyParts;
        case Limits::Kind::fields:
            return ErrorCode::tooManyFields;
        case Limits::Kind::headerBytes:
            return ErrorCode::headerTooLong;
        case Limits::Kind::decodedBytes:
            return ErrorCode::tooMuchContent;
        case Limits::Kind::none:
            break;
    }
    return ErrorCode::noMessage;
}

std::string ToString(std::string_view text) {
    return std::string(text);
}

/// An error of a file says which.
Result<Mail> NameFile(Result<Mail> mail, const std::filesystem::path& path) {
    if (mail) return mail;
    Error error = MakeFileError(mail.error(), path);
    return error;
}

/// All values of a name, as they are in the text.
class Values final : public FieldVisitor {
public:
    explicit Values(std::string_view name) noexcept : name_(name) {}

    bool Take(const Field& field) override {
        if (!EqualsCaseless(field.name, name_)) return true;
        if (!joined.empty()) joined += ",\n ";
        joined += field.raw;
        return true;
    }
    std::string joined;

private:
    std::string_view name_;
};

}  // namespace

Mail::Mail(std::unique_ptr<MessageTree> tree) noexcept : tree_(std::move(tree)) {}
Mail::Mail(Mail&&) noexcept = default;
Mail& Mail::operator=(Mail&&) noexcept = default;
Mail::~Mail() = default;

Result<Mail> Mail::Read(std::unique_ptr<MessageTree> tree, const MailOptions& options) {
    if (options.report != nullptr) *options.report = ReadReport();
    const KivGuiBase::MemoryWatch watch;
    ReadOptions rules = options.limits;
    rules.rules = Rules::mail;
    tree->charset = options.charset;
    const char* contentType = nullptr;
    if (options.contentType) {
        tree->contentType = AnsiStr(std::string_view(*options.contentType));
        tree->hasContentType = true;
        contentType = tree->contentType.GetStr();
    }
    AnsiStr message;
    Reading reading(tree->text.data(), Cursor::AtMessage(tree->text), message, rules,
                    options.report);
    reading.passed = tree->Pass(reading.cursor.GetNext());
    PlaceBuilder builder(*tree, reading);
    const bool isRead = Scanner(reading, builder).ReadEntity(contentType);
    if (watch.HasFailed()) throw std::bad_alloc();
    if (isRead) {
        builder.Finish();
        return Mail(std::move(tree));
    }
    const char* const place = reading.cursor.GetNext();
    reading.report.NoteFailure(place);
    Error error(GetErrorCode(reading.limits.GetPassed()), ToString(message));
    error.SetPlace(reading.report.GetOffset(place), builder.GetPath());
    return error;
}

Result<Mail> Mail::Open(const std::filesystem::path& path, const MailOptions& options) {
    Result<MappedText> file = MappedText::Open(path);
    if (!file) return file.error();
    auto tree = std::make_unique<MessageTree>();
    tree->file = std::move(*file);
    tree->text = tree->file.GetText();
    return NameFile(Read(std::move(tree), options), path);
}

namespace {

bool MayBeQuoted(const MessageTree& tree) {
    constexpr std::string_view kQuoted = ">From ";
    const auto find = [kQuoted](std::string_view window) { return window.find(kQuoted); };
    return FindPassingPages(tree.text, kQuoted.size(), tree.Pass(tree.text.data()), find) !=
           std::string_view::npos;
}

}  // namespace

Result<Mail> Mail::Parse(const FolderEntry& entry, const MailOptions& options) {
    auto tree = std::make_unique<MessageTree>();
    tree->entry = entry;
    tree->text = entry.GetText();
    if (!entry.GetFromLine().empty() && MayBeQuoted(*tree)) {
        tree->owned = entry.GetUnquotedText();
        tree->text = tree->owned;
    }
    return NameFile(Read(std::move(tree), options), entry.GetPath());
}

Result<Mail> Mail::Parse(std::string_view text, const MailOptions& options) {
    auto tree = std::make_unique<MessageTree>();
    tree->text = text;
    return Read(std::move(tree), options);
}

Result<Mail> Mail::Parse(std::string&& text, const MailOptions& options) {
    auto tree = std::make_unique<MessageTree>();
    tree->owned = std::move(text);
    tree->text = tree->owned;
    return Read(std::move(tree), options);
}

Result<Mail> Mail::Parse(std::string_view text, std::string_view contentType) {
    MailOptions options;
    options.contentType = contentType;
    return Parse(text, options);
}

std::string_view Mail::GetSource() const noexcept {
    return tree_->text;
}

Entity Mail::GetTop() const noexcept {
    return Entity(*tree_, 0);
}

AddressList Mail::GetAddresses(std::string_view field) const {
    Values values(field);
    VisitFields(*tree_, 0, values, field.empty() ? '\0' : field.front());
    return AddressList::Parse(values.joined);
}

std::optional<Date> Mail::GetDate() const {
    const std::optional<Field> field = GetTop().FindField("Date");
    return field ? Date::Parse(field->raw) : std::nullopt;
}

std::string Mail::GetMessageId() const {
    std::vector<std::string> identifiers = SplitIdentifiers(GetTop().GetField("Message-ID"));
    return identifiers.empty() ? std::string() : std::move(identifiers.front());
}

std::vector<std::string> Mail::GetInReplyTo() const {
    return SplitIdentifiers(GetTop().GetField("In-Reply-To"));
}

std::vector<std::string> Mail::GetReferences() const {
    return SplitIdentifiers(GetTop().GetField("References"));
}

std::vector<Entity> Mail::GetAttachments() const {
    std::vector<Entity> attachments;
    const auto count = static_cast<uint32_t>(tree_->places.size());
    for (uint32_t i = 0; i < count;) {
        const Entity entity(*tree_, i);
        const bool isAttachment = entity.IsAttachment();
        if (isAttachment) attachments.push_back(entity);
        std::ranges::copy(entity.GetUuencodedFiles(), std::back_inserter(attachments));
        // What is inside a carried message is part of that attachment.
        i = isAttachment ? tree_->GetPlace(i).subtreeEnd : i + 1;
    }
    return attachments;
}

std::optional<Entity> Mail::FindById(std::string_view id) const {
    if (KivGuiBase::StartsWithCaseless(id, "cid:")) id.remove_prefix(4);
    id = TrimBrackets(id);
    if (id.empty()) return std::nullopt;
    for (const Entity& entity : GetEntities()) {
        if (entity.GetContentId() == id) return entity;
    }
    return std::nullopt;
}

std::optional<Entity> Mail::FindByPath(std::string_view path) const {
    std::optional<Entity> entity = GetTop();
    while (entity && !path.empty()) {
        const size_t dot = std::min(path.find('.'), path.size());
        if (dot + 1 == path.size()) return std::nullopt;
        entity = entity->FindStep(path.substr(0, dot));
        path.remove_prefix(std::min(dot + 1, path.size()));
    }
    return entity;
}

std::optional<Entity> Mail::FindByFileName(std::string_view name) const {
    for (const Entity& entity : GetEntities()) {
        if (entity.GetFileName() == name) return entity;
    }
    for (const Entity& entity : GetEntities()) {
        for (const Entity& file : entity.GetUuencodedFiles()) {
            if (file.GetFileName() == name) return file;
        }
    }
    return std::nullopt;
}

}  // namespace MIME

// Bytes drive calls of Composer, then of Edit on any text. What was written must have the fields and parts
// that were asked for and no other, and give the texts back; what is not part of an edit stays as it was.
//
// A command is a letter and its texts, each up to the end mark (see ByteSource):
//
//   F S R T C B  name, address   From, Sender, Reply-To, To, Cc, Bcc; in lower case a list
//   u text, i text, x name value   Subject, Message-ID, another field
//   p text, h text, q text charset   plain text, HTML, text in a charset
//   a n  bytes name type id        an attachment, an inline file
//   m text                         attaches a mail
//   E text                         edits that mail, or when it is empty the one composed. From then on
//                                  each command is tried by itself, at the entity that a number chooses:
//   A S R  number name value       adds, sets, removes a field
//   r v a  number text             replaces, removes, adds to an entity
//   t number text, f text, b bytes name   appends text, adds a footer, attaches

#include <array>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "fuzz/byte_source.h"
#include "fuzz/check.h"
#include "kivgui/ascii.h"
#include "mime/mail.h"
#include "mime/writing/attachment_type.h"
#include "mime/writing/field_text.h"

namespace {

using namespace MIME;
using Fuzz::ByteSource;
using Fuzz::Check;
using Fuzz::CheckEqual;

constexpr std::string_view kLineEnd = "\r\n";

/// A text as it is sent.
std::string MakeLines(std::string_view text, std::string_view lineEnd = kLineEnd) {
    std::string lines;
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i, 2) == kLineEnd) ++i;
        if (text[i] == '\r' || text[i] == '\n') {
            lines += lineEnd;
        } else {
            lines += text[i];
        }
    }
    return lines;
}

// ------------------------------------------------------------------------------------ Composer --

struct RoleRow {
    const char* name;
    Composer& (Composer::*addPerson)(std::string_view, std::string_view);
    Composer& (Composer::*addList)(std::string_view);
};
constexpr std::array<RoleRow, 6> kRoles = {{{"From", &Composer::From, &Composer::From},
                                            {"Sender", &Composer::Sender, &Composer::Sender},
                                            {"Reply-To", &Composer::ReplyTo, &Composer::ReplyTo},
                                            {"To", &Composer::To, &Composer::To},
                                            {"Cc", &Composer::Cc, &Composer::Cc},
                                            {"Bcc", &Composer::Bcc, &Composer::Bcc}}};
constexpr std::string_view kRoleLetters = "FSRTCB";

/// Makes a mail, and keeps what must be in it.
class ComposedInput {
public:
    ComposedInput() { AddTo(0, "", "first@from.example"); }

    void TakeCommand(char command, ByteSource& source);
    /// @return the mail.
    std::string Check();

private:
    using Person = std::pair<std::string, std::string>;
    struct Leaf {
        std::string body;
        std::string name;
        bool isMessage = false;
    };

    /// Makes the call if it can be made alone.
    template <class Call>
    bool Try(Call call, bool isForSender = false) {
        Composer alone(1);
        alone.From("", "first@from.example");
        if (!isForSender) alone.Sender("", "sender@from.example");
        call(alone);
        const Result<std::string> text = alone.ToString();
        if (!text) Fuzz::Check(text.error().GetCode() != ErrorCode::none, "an error has a reason");
        if (text) call(composer_);
        return static_cast<bool>(text);
    }
    void AddTo(size_t role, std::string_view name, std::string_view address);
    void AddList(size_t role, std::string_view list);
    void AddFile(ByteSource& source, bool isInline);
    void CheckFields(const Mail& mail, bool isEncoded) const;
    void CheckLeaves(const Mail& mail) const;

    Composer composer_{1};
    std::array<std::vector<Person>, 6> people_;
    std::optional<std::string> subject_;
    std::string messageId_;
    std::vector<std::pair<std::string, std::string>> fields_;
    std::optional<Leaf> text_;
    std::optional<Leaf> page_;
    std::vector<Leaf> inlineFiles_;
    std::vector<Leaf> attachments_;
    std::vector<std::string> ids_;
    std::deque<std::string> carriedTexts_;
    std::deque<Mail> carried_;
};

std::string TrimBlanks(std::string_view text) {
    const size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    return std::string(text.substr(begin, text.find_last_not_of(" \t") + 1 - begin));
}

void ComposedInput::AddTo(size_t role, std::string_view name, std::string_view address) {
    const auto call = [&](Composer& mail) { (mail.*kRoles[role].addPerson)(name, address); };
    if (Try(call, role == 1)) people_[role].emplace_back(TrimBlanks(name), address);
}

void ComposedInput::AddList(size_t role, std::string_view list) {
    const auto call = [&](Composer& mail) { (mail.*kRoles[role].addList)(list); };
    if (!Try(call, role == 1)) return;
    for (const Address& one : AddressList::Parse(list)) {
        people_[role].emplace_back(TrimBlanks(one.GetName()), one.GetAddress());
    }
}

void ComposedInput::AddFile(ByteSource& source, bool isInline) {
    const std::string bytes(source.TakeText());
    FileOptions options;
    options.name = source.TakeText();
    options.type = source.TakeText();
    options.contentId = source.TakeText();
    const auto call = [&](Composer& mail) {
        isInline ? static_cast<void>(mail.InlineBytes(bytes, options))
                 : static_cast<void>(mail.AttachBytes(bytes, options));
    };
    const std::string id = TrimBlanks(options.contentId);
    if (isInline && std::count(ids_.begin(), ids_.end(), id) != 0) return;
    if (!Try(call)) return;
    if (isInline && !id.empty()) ids_.push_back(id);
    const std::string name = MakeSentName(options.name);
    const std::string type = options.type.empty() ? GetAttachmentType(name) : options.type;
    const bool isMessage = KivGuiBase::EqualsCaseless(type, "message/rfc822");
    (isInline ? inlineFiles_ : attachments_).push_back({bytes, name, isMessage});
}

void ComposedInput::TakeCommand(char command, ByteSource& source) {
    const size_t role = kRoleLetters.find(static_cast<char>(command & ~0x20));
    const bool isList = command >= 'a';
    if (role != std::string_view::npos) {
        const std::string_view first = source.TakeText();
        return isList ? AddList(role, first) : AddTo(role, first, source.TakeText());
    }
    if (std::string_view("uixphqanm").find(command) == std::string_view::npos) return;
    if (command == 'a' || command == 'n') return AddFile(source, command == 'n');
    const std::string text(source.TakeText());
    if (command == 'u' && Try([&](Composer& mail) { mail.Subject(text); })) subject_ = text;
    if (command == 'i' && Try([&](Composer& mail) { mail.MessageId(text); }))
        messageId_ = KivGuiBase::TrimSpace(text);
    if (command == 'p' && Try([&](Composer& mail) { mail.Text(text); }))
        text_ = {MakeLines(text), ""};
    if (command == 'h' && Try([&](Composer& mail) { mail.Html(text); }))
        page_ = {MakeLines(text), ""};
    if (command == 'x' || command == 'q') {
        const std::string_view second = source.TakeText();
        if (command == 'q' && Try([&](Composer& mail) { mail.Text(text, second); })) {
            text_ = {MakeLines(text), ""};
        }
        if (command == 'x' && Try([&](Composer& mail) { mail.AddField(text, second); })) {
            fields_.emplace_back(text, second);
        }
    }
    if (command != 'm') return;
    carriedTexts_.push_back(text);
    Result<Mail> mail = Mail::Parse(std::string_view(carriedTexts_.back()));
    if (!mail) return;
    carried_.push_back(*std::move(mail));
    if (Try([&](Composer& composer) { composer.Attach(carried_.back()); })) {
        attachments_.push_back({std::string(carried_.back().GetTop().GetRaw()), "", true});
    }
}

void ComposedInput::CheckFields(const Mail& mail, bool isEncoded) const {
    std::string wanted;
    for (size_t role = 0; role < kRoles.size(); ++role) {
        if (people_[role].empty()) continue;
        wanted += std::string(kRoles[role].name) + "\n";
        std::vector<Person> got;
        for (const Address& one : mail.GetAddresses(kRoles[role].name)) {
            got.emplace_back(one.GetName(), one.GetAddress());
        }
        Fuzz::Check(got.size() == people_[role].size(), "as many recipients");
        for (size_t i = 0; i < got.size(); ++i) {
            CheckEqual(got[i].first, people_[role][i].first, "the name");
            CheckEqual(got[i].second, people_[role][i].second, "the address");
        }
    }
    if (subject_) wanted += "Subject\n";
    CheckEqual(mail.GetSubject(), subject_.value_or(""), "the subject");
    wanted += "Date\nMessage-ID\n";
    if (!messageId_.empty()) {
        const bool isBare = !messageId_.starts_with('<');
        CheckEqual(isBare ? mail.GetMessageId() : "<" + mail.GetMessageId() + ">", messageId_,
                   "the identifier");
    }
    for (const auto& [name, value] : fields_) wanted += name + "\n";
    wanted += "MIME-Version\nContent-Type\n";
    if (isEncoded) wanted += "Content-Transfer-Encoding\n";
    std::string names;
    for (const Field& field : mail.GetTop().GetFields()) names += std::string(field.name) + "\n";
    CheckEqual(names, wanted, "the fields");
    for (const auto& [name, value] : fields_) {
        if ((name.starts_with("X-") || name.starts_with("x-")) &&
            mail.GetTop().GetField(name) == value)
            continue;
        if (!name.starts_with("X-")) continue;
        bool isThere = false;  // there may be several of that name
        for (const Field& field : mail.GetTop().GetFields()) isThere |= field.GetText() == value;
        Fuzz::Check(isThere, "the value of a field");
    }
}

void ComposedInput::CheckLeaves(const Mail& mail) const {
    const bool isRelated = page_ && !inlineFiles_.empty();
    const bool isMixed = !attachments_.empty() || (!inlineFiles_.empty() && !page_);
    size_t multiparts = (isRelated ? 1u : 0u) + (isMixed ? 1u : 0u) + (text_ && page_ ? 1u : 0u);
    std::vector<Leaf> leaves;
    if (text_) leaves.push_back(*text_);
    if (page_) leaves.push_back(*page_);
    leaves.insert(leaves.end(), inlineFiles_.begin(), inlineFiles_.end());
    leaves.insert(leaves.end(), attachments_.begin(), attachments_.end());
    if (leaves.empty()) leaves.push_back({});
    auto wanted = leaves.begin();
    std::string carried = "none";
    for (const Entity& entity : mail.GetEntities()) {
        if (entity.GetPath().starts_with(carried)) continue;
        if (entity.HasChildren() && !entity.CarriesMessage()) {
            Fuzz::Check(multiparts-- != 0, "no multipart more");
            continue;
        }
        Fuzz::Check(wanted != leaves.end(), "no part more");
        if (entity.CarriesMessage()) {
            Fuzz::Check(wanted->isMessage, "a message");
            CheckEqual(MakeLines(entity.GetRawBody()), MakeLines(wanted->body),
                       "the carried message");
            carried = entity.GetPath() + ".";
        } else {
            CheckEqual(entity.Decode(), wanted->body, "the body");
        }
        if (!wanted->name.empty()) CheckEqual(entity.GetFileName(), wanted->name, "the name");
        ++wanted;
    }
    Fuzz::Check(wanted == leaves.end() && multiparts == 0, "no part less");
}

std::string ComposedInput::Check() {
    Result<std::string> text = composer_.ToString();
    const size_t senders = people_[1].size();
    if (senders > 1 || (people_[0].size() > 1 && senders == 0)) {
        Fuzz::Check(!text, "more than one sender");
        return {};
    }
    if (!text) CheckEqual(text.error().GetText(), "", "all calls can be made together");
    ReadReport report;
    MailOptions options;
    options.report = &report;
    const Result<Mail> mail = Mail::Parse(std::string_view(*text), options);
    Fuzz::Check(static_cast<bool>(mail), "it can be read");
    CheckFields(*mail, mail->GetTop().FindField("Content-Transfer-Encoding").has_value());
    CheckLeaves(*mail);
    bool carries = false;
    for (const Leaf& one : attachments_) carries |= one.isMessage;
    for (const Leaf& one : inlineFiles_) carries |= one.isMessage;
    if (!carries && report.worst != Deviation::Severity::harmless) {
        CheckEqual(Deviation::GetStr(report.deviations[0].kind), "", "a deviation");
    }
    return *std::move(text);
}

// ---------------------------------------------------------------------------------------- Edit --

Entity Find(const Mail& mail, const std::string& path) {
    const std::optional<Entity> found = mail.FindByPath(path);
    Check(found.has_value(), "the part is there");
    return *found;
}

size_t Count(const Mail& mail) {
    return mail.GetEntities().size();
}

/// The bodies of all leaves but of one entity and what is inside it.
std::string GetBodies(const Mail& mail, const std::string& without = "none") {
    std::string bodies;
    for (const Entity& entity : mail.GetEntities()) {
        const bool isInside = ("." + entity.GetPath() + ".").starts_with("." + without + ".");
        if (entity.HasChildren() || isInside || without.empty()) continue;
        bodies += std::string(entity.GetRawBody()) + "\n-----\n";
    }
    return bodies;
}

/// Tries edits of a mail one by one.
class EditedInput {
public:
    explicit EditedInput(const Mail& mail)
        : mail_(mail), entities_(mail.GetEntities().begin(), mail.GetEntities().end()) {
        const Result<std::string> same = Edit(mail).ToString();
        CheckEqual(*same, mail.GetSource(), "without an edit, the same");
    }

    void TakeCommand(char command, ByteSource& source);

private:
    /// The mail after an edit; none when it cannot be done.
    template <class Call>
    std::optional<Mail> Do(Call call) {
        Edit edit(mail_);
        call(edit);
        Result<std::string> text = edit.ToString();
        if (!text) return std::nullopt;
        Result<Mail> got = Mail::Parse(*std::move(text));
        if (!got && got.error().GetCode() == ErrorCode::headerTooLong) return std::nullopt;
        Check(static_cast<bool>(got), "it can be read");
        return *std::move(got);
    }
    void TryField(char command, const Entity& entity, ByteSource& source);
    void TryPart(char command, const Entity& entity, const std::string& text);

    const Mail& mail_;
    std::vector<Entity> entities_;
};

size_t CountFields(const Entity& entity, std::string_view name) {
    size_t count = 0;
    for (const Field& field : entity.GetFields()) {
        const auto isSame = [](char a, char b) { return std::tolower(a) == std::tolower(b); };
        count += std::equal(field.name.begin(), field.name.end(), name.begin(), name.end(), isSame);
    }
    return count;
}

void EditedInput::TryField(char command, const Entity& entity, ByteSource& source) {
    const std::string name(source.TakeText());
    const std::string value(command == 'R' ? "" : source.TakeText());
    const auto got = Do([&](Edit& edit) {
        if (command == 'A') edit.AddField(entity, name, value);
        if (command == 'S') edit.SetField(entity, name, value);
        if (command == 'R') edit.RemoveField(entity, name);
    });
    if (!got) return;
    Check(Count(*got) == Count(mail_), "a field makes no part");
    CheckEqual(GetBodies(*got), GetBodies(mail_), "the bodies");
    const Entity after = Find(*got, entity.GetPath());
    const size_t before = CountFields(entity, name);
    const size_t wanted = command == 'A' ? before + 1 : command == 'S' ? 1 : 0;
    Check(CountFields(after, name) == wanted, "as many fields of that name");
    const size_t others = entity.GetFields().size() - before;
    const size_t othersAfter = after.GetFields().size() - wanted;
    Check(othersAfter == others || (others == 0 && after.GetField("MIME-Version") == "1.0"),
          "no other field");
    if (name.starts_with("X-") && command == 'S') {
        CheckEqual(after.GetField(name), value, "the value");
    }
}

void EditedInput::TryPart(char command, const Entity& entity, const std::string& text) {
    const size_t inside = entity.GetEntities().size();
    const auto got = Do([&](Edit& edit) {
        if (command == 'r') edit.Replace(entity, text);
        if (command == 'v') edit.Remove(entity);
        if (command == 'a') edit.Add(entity, NewPart::Bytes(text, {"added.bin", "", ""}));
        if (command == 't') edit.AppendText(entity, text);
    });
    if (!got) return;
    if (command == 'r') {
        Check(Count(*got) == Count(mail_) - inside + 1, "one part for another");
        CheckEqual(MakeLines(Find(*got, entity.GetPath()).Decode()), MakeLines(text),
                   "the new text");
        CheckEqual(GetBodies(*got, entity.GetPath()), GetBodies(mail_, entity.GetPath()),
                   "the other bodies");
    } else if (command == 'v') {
        const bool isAlone = entity.GetParent()->GetChildren().size() == 1;
        Check(Count(*got) == Count(mail_) - inside + (isAlone ? 1 : 0), "one part less");
    } else if (command == 'a') {
        Check(Count(*got) == Count(mail_) + 1, "one part more");
        const size_t children = entity.GetChildren().size() + 1;
        const std::string path = entity.GetPath() + (entity.GetPath().empty() ? "" : ".");
        const Entity added = Find(*got, path + std::to_string(children));
        CheckEqual(added.Decode(), text, "what was added");
        CheckEqual(GetBodies(*got, added.GetPath()), GetBodies(mail_), "the other bodies");
    } else {
        Check(Count(*got) == Count(mail_), "a footer makes no part");
        CheckEqual(GetBodies(*got, entity.GetPath()), GetBodies(mail_, entity.GetPath()),
                   "the other bodies");
    }
}

void EditedInput::TakeCommand(char command, ByteSource& source) {
    if (std::string_view("ASRrvatfb").find(command) == std::string_view::npos) return;
    if (command == 'f') {
        const std::string text(source.TakeText());
        const auto got = Do([&](Edit& edit) { edit.AddFooter(text); });
        if (got) Check(Count(*got) == Count(mail_), "a footer makes no part");
        return;
    }
    if (command == 'b') {
        const std::string bytes(source.TakeText());
        const std::string name(source.TakeText());
        const auto got = Do([&](Edit& edit) { edit.AttachBytes(bytes, {name, "a/b", ""}); });
        if (!got) return;
        const size_t children = got->GetTop().GetChildren().size();
        const Entity file = Find(*got, std::to_string(children));
        CheckEqual(file.Decode(), bytes, "the attachment");
        CheckEqual(file.GetFileName(), MakeSentName(name), "its name");
        Check(Count(*got) == Count(mail_) + 1 || Count(*got) == Count(mail_) + 2, "one file more");
        return;
    }
    const Entity entity = entities_[source.TakeNumber() % entities_.size()];
    if (command < 'a') return TryField(command, entity, source);
    TryPart(command, entity, std::string(command == 'v' ? "" : source.TakeText()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteSource source(data, size);
    ComposedInput composed;
    char command = '\0';
    while (!source.IsAtEnd() && (command = source.Take()) != 'E') {
        composed.TakeCommand(command, source);
    }
    const std::string made = composed.Check();
    if (command != 'E') return 0;
    const std::string_view given = source.TakeText();
    ReadOptions limits = ReadOptions::Mail();
    limits.maxDepth = 100;
    limits.maxParts = 1000;
    limits.maxFields = 1000;
    MailOptions options;
    options.limits = limits;
    const Result<Mail> mail = Mail::Parse(given.empty() ? std::string_view(made) : given, options);
    if (!mail) return 0;
    EditedInput edited(*mail);
    for (int i = 0; i < 50 && !source.IsAtEnd(); ++i) edited.TakeCommand(source.Take(), source);
    return 0;
}

#include "mime/writing/part_draft.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/decoding.h"
#include "mime/mail/address.h"
#include "mime/mail/whole.h"
#include "mime/parser/fields.h"
#include "mime/writing/field_text.h"
#include "mime/writing/file_part.h"
#include "mime/writing/part_fields.h"
#include "mime/writing/signed_mail.h"
#include "mime/writing/target.h"
#include "mime/writing/write_failure.h"

// A tree becomes a draft, which is planned and written like any other mail. Most of the work is to find out
// what the host meant, because a part says some things twice: its type is in `info` and in `headers`, and a
// host may have changed either since the part was read.

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::StartsWithCaseless;

namespace {

constexpr std::string_view kLineEnd = "\r\n";

std::string ToString(const AnsiStr& text) {
    return std::string(std::string_view(text));
}

// -------------------------------------------------------------------------------------- types --

/// Is it a media type, and not what stands for none?
bool IsMediaType(std::string_view type) noexcept {
    const size_t slash = type.find('/');
    return slash != std::string_view::npos && IsToken(type.substr(0, slash)) &&
           IsToken(type.substr(slash + 1)) && !EqualsCaseless(type.substr(0, slash), "invalid") &&
           !EqualsCaseless(type.substr(slash + 1), "invalid");
}

/// Would a reader make this type of that field?
bool IsMadeOf(const std::string& type, const std::string& field) {
    for (const Rules rules : {Rules::mail, Rules::exact}) {
        const std::string made = Whole([&] {
            ReadOptions options;
            options.rules = rules;
            AnsiStr error;
            Reading reading("", Cursor("", 0), error, options, nullptr);
            Part part;
            HeaderMap::Node* const node = part.headers.FindOrInsert(Header::Content_Type);
            if (node != nullptr) node->value.value = std::string_view(field);
            SetInfoFromHeaders(part, reading, "", false);
            return ToString(part.info.contentType.GetStr());
        });
        if (EqualsCaseless(type, made)) return true;
    }
    return false;
}

/// The type that the host means. `info` counts where it does not just repeat the field, or what was read.
std::string FindType(const Part& part, const PartFields& fields) {
    std::string info = Whole([&] { return ToString(part.info.contentType.GetStr()); });
    std::string field = fields.GetType().value;
    if (!field.empty() && (EqualsCaseless(info, field) || IsMadeOf(info, field))) return field;
    const std::string read = fields.GetReadType();
    const bool isInfoOld = fields.WasRead() && !read.empty() && IsMadeOf(info, read);
    return isInfoOld || !IsMediaType(info) ? field : info;
}

bool IsMultipartType(std::string_view type) noexcept {
    return StartsWithCaseless(type, "multipart/");
}

bool IsMessageType(std::string_view type) noexcept {
    return StartsWithCaseless(type, "message/");
}

/// RFC 2046, 5.2: what is of these types may not be encoded. Others may, if need be.
bool MustBeVerbatim(std::string_view type) noexcept {
    constexpr std::string_view kTypes[] = {"message/rfc822", "message/global", "message/partial",
                                           "message/external-body"};
    return IsMultipartType(type) || std::ranges::any_of(kTypes, [type](std::string_view one) {
               return EqualsCaseless(type, one);
           });
}

// ------------------------------------------------------------------------------------- bodies --

struct TextTraits {
    bool hasFeed = false;
    bool hasReturn = false;
    bool hasControls = false;  ///< others than tab, CR and LF
    bool hasMark = false;      ///< a byte-order mark at the start
};

TextTraits Survey(const BodySource& body) {
    TextTraits traits;
    bool isStart = true;
    body.Read([&](std::string_view piece) {
        if (isStart) traits.hasMark = piece.starts_with('\xEF');
        isStart = false;
        for (const char c : piece) {
            const bool isPlain = static_cast<unsigned char>(c) >= ' ' && c != '\x7F';
            if (isPlain || c == '\t') continue;
            (c == '\n' ? traits.hasFeed : c == '\r' ? traits.hasReturn : traits.hasControls) = true;
        }
    });
    return traits;
}

/// A text whose lines end in LF alone gets the line end of mail (RFC 2046, 4.1.1); any other is kept.
SharedBody MakeMailLines(SharedBody body) {
    const TextTraits traits = Survey(*body);
    const bool isOfFeeds =
        traits.hasFeed && !traits.hasReturn && !traits.hasControls && !traits.hasMark;
    return isOfFeeds ? MakeCanonicalSource(std::move(body)) : body;
}

bool IsText(const BodySource& body) {
    return !Survey(body).hasControls && PlanBody(body, BodyForm::text, {}).isUtf8;
}

SharedBody GetBody(const Data& data) {
    if (!data.content.IsEmpty()) return MakeViewSource(data.content);
    return data.file.IsEmpty() ? nullptr : MakeFileSource(data.file);
}

/// What a host has encoded itself, decoded; null when it is not in memory.
SharedBody Decode(const Data& data, std::string_view encoding) {
    const bool isQuoted = EqualsCaseless(encoding, "quoted-printable");
    if (data.content.IsEmpty() || (!isQuoted && !EqualsCaseless(encoding, "base64")))
        return nullptr;
    return MakeTextSource(Whole([&] {
        const char* const text = data.content.GetStr();
        const unsigned size = data.content.GetLength();
        return ToString(
            (isQuoted ? Decoding::QuotedPrintable(text, size) : Decoding::Base64(text, size)).body);
    }));
}

// ------------------------------------------------------------------------------------- drafts --

/// Makes the draft of one part without its children.
class EntityDrafter {
public:
    EntityDrafter(const Part& part, const PartFields& fields, Draft& draft)
        : part_(part), fields_(fields), draft_(draft), field_(fields.GetType()) {}

    void Make() {
        draft_.type = FindType(part_, fields_);
        draft_.parameters = field_.parameters;
        draft_.rawParameters = fields_.GetRawTypeParameters();
        const bool hasParts = !part_.parts.IsEmpty();
        if (hasParts) CheckHasNoBody();
        if (part_.info.isMessage && hasParts) {
            MakeMessage();
        } else if (hasParts || IsEmptyMultipart()) {
            MakeMultipart();
        } else {
            MakeLeaf();
        }
        KeepTypeField();
    }

private:
    void CheckHasNoBody() const {
        if (part_.data.content.IsEmpty() && part_.data.file.IsEmpty()) return;
        Fail(ErrorCode::cannotEncode, "has parts, and a body too");
    }

    bool IsEmptyMultipart() const {
        return IsMultipartType(draft_.type) && part_.data.content.IsEmpty() &&
               part_.data.file.IsEmpty();
    }

    void MakeMessage() {
        if (part_.parts.GetCount() != 1) {
            Fail(ErrorCode::cannotEncode, "is to carry one message, and has several");
        }
        draft_.isMessage = true;
        if (!IsMediaType(draft_.type) || !IsMessageType(draft_.type))
            draft_.type = "message/rfc822";
    }

    void MakeMultipart() {
        if (!IsMediaType(draft_.type) || !IsMultipartType(draft_.type)) {
            draft_.type = "multipart/mixed";
        }
        draft_.boundary = ToString(part_.info.boundary);
        if (draft_.boundary.empty()) draft_.boundary = FindParameter("boundary");
        DropParameter("boundary");
        draft_.preamble = MakeSideText(part_.preamble);
        draft_.epilogue = MakeSideText(part_.epilogue);
    }

    /// A preamble or epilogue, with the line end of mail.
    static std::string MakeSideText(const AnsiStr& text) {
        std::string lines;
        if (!text.IsEmpty()) {
            MakeMailLines(MakeViewSource(text))->Read([&](std::string_view piece) {
                lines += piece;
            });
        }
        return lines;
    }

    void MakeLeaf() {
        SharedBody body = GetBody(part_.data);
        if (part_.data.encoded && body != nullptr) {
            MakeEncoded(std::move(body));
        } else {
            if (!IsMediaType(draft_.type)) ReplaceType(body.get());
            MakeBody(std::move(body));
        }
        if (!part_.info.charset.IsEmpty()) SetCharset(ToString(part_.info.charset));
        draft_.mayLackType = HasImpliedType();
    }

    /// Was it read without a type, and has not been given one since? Reading adds the field, empty.
    bool HasImpliedType() const {
        return part_.headers.Find("Content-Type") != nullptr && field_.value.empty() &&
               draft_.parameters.empty() && fields_.GetReadType().empty() &&
               part_.info.contentType.str == "text/plain" && draft_.encodingField.empty();
    }

    void MakeBody(SharedBody body) {
        const bool isText = StartsWithCaseless(draft_.type, "text/");
        const bool isStructured = IsMultipartType(draft_.type) || IsMessageType(draft_.type);
        if (body != nullptr && ((isText && !IsAttachment()) || isStructured)) {
            body = MakeMailLines(std::move(body));
        }
        draft_.form = isText || isStructured ? BodyForm::text : BodyForm::bytes;
        const bool isVerbatim = isStructured && body != nullptr &&
                                (MustBeVerbatim(draft_.type) || CanBeVerbatim(*body));
        if (isVerbatim) draft_.form = BodyForm::verbatim;
        draft_.body = std::move(body);
    }

    void MakeEncoded(SharedBody body) {
        const HeaderMap::Node* const field = part_.headers.Find("Content-Transfer-Encoding");
        std::string encoding = field != nullptr ? ToString(field->value.value) : "";
        if (encoding.empty()) {
            encoding = Whole(
                [&] { return ToString(TransferEncoding::GetStr(part_.info.transferEncoding)); });
        }
        const bool isIdentity = EqualsCaseless(encoding, "7bit") ||
                                EqualsCaseless(encoding, "8bit") ||
                                EqualsCaseless(encoding, "binary");
        draft_.form = BodyForm::encoded;
        draft_.body = MakeMailLines(std::move(body));
        const SharedBody decoded = isIdentity ? draft_.body : Decode(part_.data, encoding);
        if (!IsMediaType(draft_.type)) ReplaceType(decoded.get());
        if (isIdentity) return;
        draft_.encodingField =
            WriteParameterField("Content-Transfer-Encoding", encoding, {}, kLineEnd);
        const bool isText = StartsWithCaseless(draft_.type, "text/");
        if (!isText || decoded == nullptr || !FindParameter("charset").empty()) return;
        const BodyPlan plan = PlanBody(*decoded, BodyForm::text, {});
        if (plan.isUtf8) SetCharset(plan.isAscii ? "us-ascii" : "utf-8");
    }

    /// For a part of no known type.
    void ReplaceType(const BodySource* body) {
        const bool isText = body != nullptr ? IsText(*body) : !part_.data.encoded;
        draft_.type = isText ? "text/plain" : "application/octet-stream";
    }

    bool IsAttachment() const {
        const HeaderMap::Node* const field = part_.headers.Find("Content-Disposition");
        if (field == nullptr) return false;
        if (EqualsCaseless(field->value.value.GetStr(), "attachment")) return true;
        return std::ranges::any_of(
            field->value.parameters, [](const ParameterMap::Node& parameter) {
                return StartsWithCaseless(parameter.key.GetStr(), "filename") &&
                       !parameter.value.value.IsEmpty();
            });
    }

    /// The field as it was read, where it still says all of it.
    void KeepTypeField() {
        const bool isSame = EqualsCaseless(draft_.type, field_.value) &&
                            (!part_.info.charset.IsEmpty()
                                 ? EqualsCaseless(part_.info.charset.GetStr(), GetRead("charset"))
                                 : true) &&
                            (draft_.boundary.empty() || draft_.boundary == GetRead("boundary"));
        if (isSame) draft_.typeField = fields_.GetTypeField();
    }

    std::string GetRead(const char* parameter) const {
        for (const Parameter& one : field_.parameters) {
            if (EqualsCaseless(one.name, parameter)) return one.value;
        }
        return {};
    }

    std::string FindParameter(std::string_view name) const {
        for (const Parameter& parameter : draft_.parameters) {
            if (EqualsCaseless(parameter.name, name)) return parameter.value;
        }
        return {};
    }
    void DropParameter(std::string_view name) {
        std::erase_if(draft_.parameters, [name](const Parameter& parameter) {
            return EqualsCaseless(parameter.name, name);
        });
    }
    void SetCharset(std::string charset) {
        DropParameter("charset");
        draft_.parameters.push_back({"charset", std::move(charset)});
    }

    const Part& part_;
    const PartFields& fields_;
    Draft& draft_;
    ParameterList field_;
};

/// Makes the draft of a tree. Trees are limited in depth, so it recurses.
class TreeDrafter {
public:
    TreeDrafter(const WriteOptions& options, UniqueText& unique)
        : options_(options), unique_(unique) {}

    PartDraft MakeTop(const Part& top) {
        PartDraft made;
        PartFields fields(top);
        Complete(fields);
        const bool isSigned = !options_.signer.IsEmpty();
        if (isSigned) {
            made.outerFields = fields.GetBefore(PartFields::Kind::other) +
                               fields.GetAfter(PartFields::Kind::other);
        }
        made.draft = Make(top, fields, isSigned ? Role::signedContent : Role::message, "", 1);
        return made;
    }

private:
    enum class Role { message, signedContent, part };

    /// What every mail has (RFC 5322, 3.6).
    void Complete(PartFields& fields) {
        if (!options_.isCompleted) return;
        if (!fields.Has("Date")) {
            using namespace std::chrono;
            const sys_seconds now =
                options_.seed ? sys_seconds() : floor<seconds>(system_clock::now());
            fields.Add("Date", WriteDateField("Date", {now, minutes(0), true}, kLineEnd));
        }
        if (!fields.Has("Message-ID")) {
            const std::string id = unique_.Make() + "@" + fields.FindDomain();
            fields.Add("Message-ID", WriteIdField("Message-ID", {&id, 1}, kLineEnd));
        }
    }

    Draft Make(const Part& part, Role role, const std::string& path, unsigned level) {
        if (level > kMaxWrittenDepth) {
            throw WriteFailure{Error(ErrorCode::tooDeep).SetPlace(0, path)};
        }
        try {
            PartFields fields(part);
            return Make(part, fields, role, path, level);
        } catch (const WriteFailure& failure) {
            FailInEntity(failure.error, path);
        }
    }

    Draft Make(const Part& part, PartFields& fields, Role role, const std::string& path,
               unsigned level) {
        Draft draft;
        draft.path = path;
        if (!part.rawText.IsEmpty()) {
            draft.isWhole = true;
            draft.form = BodyForm::encoded;
            draft.body = MakeViewSource(part.rawText);
            return draft;
        }
        EntityDrafter(part, fields, draft).Make();
        if (role == Role::message && !fields.Has("MIME-Version")) {
            draft.versionField = "MIME-Version: 1.0\r\n";
        }
        const PartFields::Kind kind =
            role == Role::signedContent ? PartFields::Kind::content : PartFields::Kind::all;
        draft.fields = fields.GetBefore(kind);
        draft.laterFields = fields.GetAfter(kind);
        // A message that began with an empty line would lose it.
        const bool mayBeBare = role != Role::message || !draft.fields.empty();
        draft.mayLackType = draft.mayLackType && (mayBeBare || !draft.laterFields.empty());
        for (unsigned i = 0; i < part.parts.GetCount(); ++i) {
            const std::string childPath = (path.empty() ? "" : path + ".") + std::to_string(i + 1);
            if (part.parts[i] == nullptr) {
                FailInEntity(Error(ErrorCode::cannotEncode, "is a null pointer"), childPath);
            }
            draft.children.push_back(Make(*part.parts[i],
                                          draft.isMessage ? Role::message : Role::part, childPath,
                                          level + 1));
        }
        // A multipart has a part at least (RFC 2046, 5.1.1).
        if (draft.children.empty() && draft.body == nullptr && IsMultipartType(draft.type)) {
            draft.children.emplace_back();
        }
        return draft;
    }

    const WriteOptions& options_;
    UniqueText& unique_;
};

}  // namespace

PartDraft MakePartDraft(const Part& top, const WriteOptions& options, UniqueText& unique) {
    return TreeDrafter(options, unique).MakeTop(top);
}

void WritePart(const Part& top, const WriteOptions& options, const Take& take) {
    UniqueText unique(options.seed);
    PartDraft made = MakePartDraft(top, options, unique);
    if (options.signer.IsEmpty()) {
        PlanDraft(made.draft, unique);
        return WriteMessage(made.draft, kLineEnd, take);
    }
    const std::string boundary = unique.MakeBoundary();
    PlanDraft(made.draft, unique, {boundary});
    const MailSigner signer(std::filesystem::path(options.signer), options.passPhrase);
    signer.Write(
        made.outerFields, boundary,
        [&made](const Take& takeSigned) { WriteDraft(made.draft, kLineEnd, takeSigned); }, take);
}

Result<void> Part::Save(const File& target, const WriteOptions& options) const {
    return MIME::SaveTo(std::filesystem::path(target),
                        [&](const Take& take) { WritePart(*this, options, take); });
}

Result<void> Part::SaveTo(const Sink& sink, const WriteOptions& options) const {
    return PassTo(sink, [&](const Take& take) { WritePart(*this, options, take); });
}

Result<std::string> Part::SaveToString(const WriteOptions& options) const {
    return Collect([&](const Take& take) { WritePart(*this, options, take); });
}

}  // namespace MIME

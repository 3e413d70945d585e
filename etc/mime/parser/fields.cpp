// What fields mean.
//
// Exact rules: every value is split at ";" and stored as the text gives it; of a repeated field the last
// value counts, and the parameters of all are merged.
//
// Mail rules: only Content-Type, Content-Disposition and Content-Transfer-Encoding have parameters. Values
// are unfolded and decoded to UTF-8: encoded words (RFC 2047), and parameter sections (RFC 2231) under their
// plain name. Of a repeated field or parameter the first counts, and the repetition is reported, because
// other programs take the last.

#include "mime/parser/fields.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/decoding.h"
#include "mime/parser/report.h"
#include "mime/parser/structured_field.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::StartsWithCaseless;

namespace {

/// How the text of a field is made up.
enum class FieldKind { text, addresses, type, disposition, encoding };

struct KnownField {
    std::string_view name;
    FieldKind kind;
};

constexpr KnownField kKnownFields[] = {
    {"Content-Type", FieldKind::type},
    {"Content-Disposition", FieldKind::disposition},
    {"Content-Transfer-Encoding", FieldKind::encoding},
    {"From", FieldKind::addresses},
    {"To", FieldKind::addresses},
    {"Cc", FieldKind::addresses},
    {"Bcc", FieldKind::addresses},
    {"Sender", FieldKind::addresses},
    {"Reply-To", FieldKind::addresses},
    {"Resent-From", FieldKind::addresses},
    {"Resent-To", FieldKind::addresses},
    {"Resent-Cc", FieldKind::addresses},
    {"Resent-Bcc", FieldKind::addresses},
    {"Resent-Sender", FieldKind::addresses},
    {"Disposition-Notification-To", FieldKind::addresses},
};

/// A bit for each length that the name of a known field has: most names are none of these.
constexpr uint64_t MakeLengthMask() noexcept {
    uint64_t mask = 0;
    for (const KnownField& field : kKnownFields) mask |= uint64_t{1} << field.name.size();
    return mask;
}

/// A bit for each letter that the name of a known field begins with, case ignored.
constexpr uint32_t MakeLetterMask() noexcept {
    uint32_t mask = 0;
    for (const KnownField& field : kKnownFields) mask |= 1U << (field.name[0] & 0x1F);
    return mask;
}

FieldKind GetKind(std::string_view name) noexcept {
    constexpr uint64_t kLengths = MakeLengthMask();
    constexpr uint32_t kLetters = MakeLetterMask();
    if (name.empty() || name.size() > 63 || (kLengths >> name.size() & 1) == 0)
        return FieldKind::text;
    if ((kLetters >> (name[0] & 0x1F) & 1) == 0) return FieldKind::text;
    const auto* field =
        std::find_if(std::begin(kKnownFields), std::end(kKnownFields),
                     [name](const KnownField& f) { return EqualsCaseless(f.name, name); });
    return field != std::end(kKnownFields) ? field->kind : FieldKind::text;
}

bool HasParameters(FieldKind kind) noexcept {
    return kind == FieldKind::type || kind == FieldKind::disposition || kind == FieldKind::encoding;
}

bool HasChar(std::string_view text, char c) noexcept {
    return !text.empty() && std::memchr(text.data(), c, text.size()) != nullptr;
}

bool HasEncodedWord(std::string_view text) noexcept {
    return text.find("=?") != std::string_view::npos;
}

void NoteControls(std::string_view value, Reading& reading) {
    if (!reading.report.IsWanted()) return;
    for (size_t at = value.find('\r'); at != std::string_view::npos;
         at = value.find('\r', at + 1)) {
        if (at + 1 < value.size() && value[at + 1] == '\n') continue;
        reading.Note(Deviation::bareCarriageReturn, value.data() + at);
        break;
    }
    const size_t nul = value.find('\0');
    if (nul != std::string_view::npos) reading.Note(Deviation::nulInHeader, value.data() + nul);
}

void NoteRepeated(FieldKind kind, const char* where, Reading& reading) {
    if (kind == FieldKind::type) reading.Note(Deviation::repeatedContentType, where);
    if (kind == FieldKind::encoding) reading.Note(Deviation::repeatedTransferEncoding, where);
}

/// Puts the parameters of one field into its map, by the mail rules.
class ParameterReader {
public:
    ParameterReader(FieldKind kind, const char* where, Reading& reading) noexcept
        : kind_(kind), where_(where), reading_(reading) {}

    bool Store(const StructuredField& field, ParameterMap& target) {
        ParameterMap encoded;
        for (const StructuredField::Parameter& parameter : field.parameters) {
            const bool isEncoded = HasChar(parameter.name, '*') || HasEncodedWord(parameter.value);
            if (!Add(isEncoded ? encoded : target, parameter)) return false;
        }
        return encoded.IsEmpty() || Decode(encoded, target);
    }

private:
    bool Add(ParameterMap& target, const StructuredField::Parameter& parameter) {
        const AnsiStr name{std::string_view(parameter.name)};
        const std::string_view value = parameter.value;
        bool isNew = false;
        ParameterMap::Node* node = target.FindOrInsert(name, isNew);
        if (node == nullptr) return false;
        if (isNew) {
            node->value.value = value;
        } else if (node->value.value != value) {
            NoteRepeatedParameter();
        }
        return true;
    }

    bool Decode(const ParameterMap& encoded, ParameterMap& target) {
        AnsiStr last;
        for (const ParameterMap::Node& node : encoded) {
            const std::string_view key = node.key;
            const AnsiStr name(key.substr(0, key.find('*')));
            if (!last.IsEmpty() && EqualsCaseless(name, last)) continue;  // another section of it
            last = name;
            const Decoding::ParameterResult result = Decoding::Parameter(encoded, name);
            if (!StoreDecoded(target, result.found ? name : node.key,
                              result.found ? result.value : node.value.value)) {
                return false;
            }
            NoteDecoded(name, result);
        }
        return true;
    }

    bool StoreDecoded(ParameterMap& target, const AnsiStr& name, const AnsiStr& value) {
        const ParameterMap::Node* plain = target.Find(name);
        if (plain != nullptr && !(plain->value.value == value)) NoteRepeatedParameter();
        ParameterMap::Node* node = target.FindOrInsert(name);
        if (node == nullptr) return false;
        node->value.value = value;
        return true;
    }

    void NoteDecoded(const AnsiStr& name, const Decoding::ParameterResult& result) {
        if (result.conflicting) NoteRepeatedParameter();
        if (!result.hadEncodedWord) return;
        const bool isFileName =
            EqualsCaseless(name, kind_ == FieldKind::disposition ? "filename" : "name");
        if (isFileName && kind_ == FieldKind::type) {
            reading_.encodedName = where_;
            return;
        }
        reading_.Note(
            isFileName ? Deviation::encodedWordInFileName : Deviation::encodedWordInParameter,
            where_);
    }

    void NoteRepeatedParameter() { reading_.Note(Deviation::repeatedParameter, where_); }

    FieldKind kind_;
    const char* where_;
    Reading& reading_;
};

/// What other programs may read as another type, or without its boundary.
void NoteMediaType(const StructuredField& field, const char* where, Reading& reading) {
    const size_t slash = field.value.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 == field.value.size()) {
        reading.Note(Deviation::malformedContentType, where);
    }
    if (field.lacksSemicolon) reading.Note(Deviation::missingSemicolon, where);
    for (const StructuredField::Parameter& parameter : field.parameters) {
        if (parameter.isOpen) reading.Note(Deviation::unclosedQuote, where);
        const bool isBoundary = EqualsCaseless(parameter.name, "boundary");
        if (isBoundary && !parameter.isQuoted && HasChar(parameter.value, '=')) {
            reading.Note(Deviation::bareBoundary, where);
        }
    }
}

bool StoreStructured(HeaderValue& target, FieldKind kind, std::string_view value, const char* where,
                     Reading& reading) {
    StructuredField field;
    if (kind == FieldKind::type) {
        ParseMediaType(value, field);
        NoteMediaType(field, where, reading);
    } else {
        ParseStructuredField(value, field);
    }
    target.value = std::string_view(field.value);
    return ParameterReader(kind, where, reading).Store(field, target.parameters);
}

void StoreText(HeaderValue& target, FieldKind kind, std::string_view value) noexcept {
    target.value = value;
    if (!HasEncodedWord(value)) return;
    target.value = kind == FieldKind::addresses ? Decoding::AddressWords(target.value)
                                                : Decoding::Words(target.value);
}

}  // namespace

bool HoldsAddresses(std::string_view name) noexcept {
    return GetKind(name) == FieldKind::addresses;
}

bool HoldsParameters(std::string_view name) noexcept {
    return HasParameters(GetKind(name));
}

bool IsPlainText(const ContentType& type) noexcept {
    if (type.type != Type::invalid)
        return type.type == Type::text && type.subType == SubType::plain;
    return EqualsCaseless(type.str.GetStr(), "text");
}

std::string_view Unfold(std::string_view value, std::string& unfolded) {
    if (!HasChar(value, '\n')) return value;
    unfolded.clear();
    while (!value.empty()) {
        const size_t feed = value.find('\n');
        std::string_view line = value.substr(0, feed);
        if (feed != std::string_view::npos && line.ends_with('\r')) line.remove_suffix(1);
        unfolded += line;
        value.remove_prefix(feed == std::string_view::npos ? value.size() : feed + 1);
    }
    return unfolded;
}

bool FieldReader::Store(HeaderMap& headers, std::string_view name, std::string_view value) {
    if (reading_.IsMail()) return StoreByMailRules(headers, name, value);
    const AnsiStr key(name);
    if (reading_.report.IsWanted() && headers.Find(key) != nullptr) {
        NoteRepeated(GetKind(name), value.data(), reading_);
    }
    HeaderMap::Node* field = headers.FindOrInsert(key);
    if (field == nullptr) return false;
    NoteControls(value, reading_);
    return ParseHeaderValue(field->value, value);
}

bool FieldReader::StoreByMailRules(HeaderMap& headers, std::string_view name,
                                   std::string_view value) {
    const FieldKind kind = GetKind(name);
    const AnsiStr key(name);
    const char* const where = value.data();
    bool isNew = false;
    HeaderMap::Node* field = headers.FindOrInsert(key, isNew);
    if (field == nullptr) return false;
    if (!isNew) {
        NoteRepeated(kind, where, reading_);
        return true;
    }
    NoteControls(value, reading_);
    value = Unfold(value, unfolded_);
    if (HasParameters(kind)) return StoreStructured(field->value, kind, value, where, reading_);
    StoreText(field->value, kind, value);
    return true;
}

bool FieldReader::StoreContentType(HeaderMap& headers, std::string_view value) {
    HeaderMap::Node* field = headers.FindOrInsert(Header::Content_Type);
    if (field == nullptr) return false;
    if (!reading_.IsMail()) return ParseHeaderValue(field->value, value);
    return StoreStructured(field->value, FieldKind::type, Unfold(value, unfolded_),
                           reading_.cursor.GetNext(), reading_);
}

// ------------------------------------------------------------------------- the Content- fields --

namespace {

// Field values are compared up to their first NUL, as hosts do that take them as C strings.

bool IsUuencode(std::string_view encoding) noexcept {
    return EqualsCaseless(encoding, "x-uuencode") || EqualsCaseless(encoding, "x-uue") ||
           EqualsCaseless(encoding, "uuencode") || EqualsCaseless(encoding, "uue");
}

/// The keys of the type that the extension of `type` stands for; unchanged when it has none.
void SetKeysFromType(ContentType& keys, const AnsiStr& type) noexcept {
    AnsiStr extension;
    if (!type.IsEmpty() && GetExtFromTypeStr(type, extension)) {
        GetTypesFromExt(extension, keys.type, keys.subType);
    }
}

/// What the look-ups give for the types of nearly all mail, without looking them up: text/plain and
/// text/html have keys, and of the multipart types only multipart/voice-message has.
bool SetUsualKeys(ContentType& keys, const AnsiStr& type) noexcept {
    const char* const text = type.GetStr();
    if (EqualsCaseless(text, "text/plain") || EqualsCaseless(text, "text/html")) {
        keys.type = Type::text;
        keys.subType = EqualsCaseless(text, "text/plain") ? SubType::plain : SubType::html;
        return true;
    }
    if (!IsMultipart(GetCText(type)) || EqualsCaseless(text, "multipart/voice-message"))
        return false;
    keys.type = Type::multipart;
    return true;
}

/// By the mail rules the type is given as text, with the keys only when they stand for exactly that
/// text; writers have to know a multipart. Without a field the type is text/plain, in a digest
/// message/rfc822 (RFC 2045, 5.2; RFC 2046, 5.1.5).
void SetTypeFromField(ContentType& target, const AnsiStr& field, bool isInDigest) noexcept {
    const AnsiStr type =
        !field.IsEmpty() ? field : AnsiStr(isInDigest ? "message/rfc822" : "text/plain");
    target.str = type;
    if (SetUsualKeys(target, type)) return;
    ContentType keys;
    SetKeysFromType(keys, type);
    if (EqualsCaseless(CanonicType(keys.type, keys.subType), type.GetStr())) {
        target.type = keys.type;
        target.subType = keys.subType;
    } else if (IsMultipart(GetCText(type))) {
        target.type = Type::multipart;
    }
}

struct EncodingRow {
    TransferEncoding::keys key;
    std::string_view text;
};

constexpr EncodingRow kEncodings[] = {
#define MIME_TRANSFER_ENCODING(key, text, isIdentity, codec) {TransferEncoding::key, text},
#include "mime/encoding/transfer_encodings.inc"
};

bool IsEncoded(TransferEncoding::keys encoding) noexcept {
    return encoding == TransferEncoding::base64 || encoding == TransferEncoding::quoted_printable;
}

bool SetTransferEncoding(Part& part, Reading& reading, const AnsiStr& text, const char* where) {
    // An absent field means binary here, not 7bit (RFC 2045, 6.1).
    part.info.transferEncoding = TransferEncoding::binary;
    if (text.IsEmpty()) return true;
    if (FindTransferEncoding(GetCText(text), part.info.transferEncoding)) return true;
    if (!reading.IsMail()) return reading.Fail(Messages::UnsupportedTransferEncoding(text));
    reading.Note(
        IsUuencode(text.GetStr()) ? Deviation::uuencodedBody : Deviation::unknownTransferEncoding,
        where);
    return true;
}

void NoteFileNames(const HeaderMap& headers, Reading& reading, const char* where) {
    if (!reading.report.IsWanted()) return;
    const AnsiStr fileName = headers.GetParameter("Content-Disposition", "filename");
    const AnsiStr name = headers.GetParameter("Content-Type", "name");
    // As a copy of the file name, for older programs, it misleads nobody.
    const char* const encodedName = std::exchange(reading.encodedName, nullptr);
    if (encodedName != nullptr && !(fileName == name)) {
        reading.Note(Deviation::encodedWordInFileName, encodedName);
    }
    if (!fileName.IsEmpty() && !name.IsEmpty() && !(fileName == name)) {
        reading.Note(Deviation::conflictingFileNames, where);
    }
}

/// Is the entity a message? Reports where its type and its encoding do not go together.
void SetStructure(Part& part, Reading& reading, const AnsiStr& type, const char* where,
                  bool isInDigest) {
    const bool isEncoded = IsEncoded(part.info.transferEncoding);
    if (IsMultipart(GetCText(type))) {
        if (part.info.boundary.IsEmpty()) reading.Note(Deviation::unusableBoundary, where);
        if (isEncoded) reading.Note(Deviation::encodedMultipart, where);
        return;
    }
    if (!reading.IsMail()) return;
    if (!CarriesMessage(GetCText(type), isInDigest && type.IsEmpty())) return;
    part.info.isMessage = MayDescend(part.info.transferEncoding, reading);
    if (!isEncoded) return;
    reading.Note(part.info.isMessage ? Deviation::decodedMessage : Deviation::encodedMessage,
                 where);
}

}  // namespace

bool IsMultipart(std::string_view type) noexcept {
    return StartsWithCaseless(type, "multipart/");
}

bool CarriesMessage(std::string_view type, bool isInDigest) noexcept {
    return EqualsCaseless(type, "message/rfc822") || EqualsCaseless(type, "message/global") ||
           (isInDigest && type.empty());
}

bool MayDescend(TransferEncoding::keys encoding, const Reading& reading) noexcept {
    return !IsEncoded(encoding) || reading.decodedLevels < Reading::kMaxDecodedLevels;
}

bool FindTransferEncoding(std::string_view text, TransferEncoding::keys& encoding) noexcept {
    for (const EncodingRow& row : kEncodings) {
        if (EqualsCaseless(text, row.text)) {
            encoding = row.key;
            return true;
        }
    }
    return false;
}

bool SetInfoFromHeaders(Part& part, Reading& reading, const char* where, bool isInDigest) {
    const HeaderMap::Node* field = part.headers.FindOrInsert(Header::Content_Type);
    const HeaderMap::Node* encoding = part.headers.FindOrInsert(Header::Content_Transfer_Encoding);
    if (field == nullptr || encoding == nullptr) return false;
    const AnsiStr& type = field->value.value;
    const bool isMultipart = IsMultipart(GetCText(type));
    const ParameterMap::Node* boundary =
        isMultipart ? field->value.parameters.Find("boundary") : nullptr;
    part.info.boundary = boundary != nullptr ? boundary->value.value : AnsiStr();
    if (reading.IsMail()) {
        SetTypeFromField(part.info.contentType, type, isInDigest);
    } else {
        SetKeysFromType(part.info.contentType, type);
    }
    if (!SetTransferEncoding(part, reading, encoding->value.value, where)) return false;
    SetStructure(part, reading, type, where, isInDigest);
    NoteFileNames(part.headers, reading, where);
    return true;
}

// ---------------------------------------------------------------------------- Part::fields --

FieldList::Field FieldList::operator[](unsigned index) const noexcept {
    const std::string_view text = text_;
    const Place& place = places_[index];
    return {text.substr(place.name, place.nameEnd - place.name),
            text.substr(place.value, place.valueEnd - place.value)};
}

}  // namespace MIME

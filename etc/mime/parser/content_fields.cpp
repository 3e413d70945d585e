#include "mime/parser/content_fields.h"

#include <string_view>

#include "mime/parser/messages.h"

namespace MIME {

namespace {

bool IsMultipart(const AnsiStr& type) noexcept {
    constexpr std::string_view kPrefix = "Multipart/";
    return AnsiStr::NCompare(type.GetStr(), kPrefix.data(), kPrefix.size(), true) == 0;
}

bool EqualsCaseless(const AnsiStr& text, const char* wanted) noexcept {
    return AnsiStr::Compare(text.GetStr(), wanted, true) == 0;
}

bool IsMessage(const AnsiStr& type) noexcept {
    return EqualsCaseless(type, "message/rfc822") || EqualsCaseless(type, "message/global");
}

bool IsUuencode(const AnsiStr& encoding) noexcept {
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

/// RFC 2045, 6.1; an absent field means binary here, not 7bit.
bool ParseTransferEncoding(const AnsiStr& text, TransferEncoding::keys& encoding) noexcept {
    if (text.IsEmpty()) {
        encoding = TransferEncoding::binary;
        return true;
    }
    for (const auto key :
         {TransferEncoding::base64, TransferEncoding::quoted_printable, TransferEncoding::bit7,
          TransferEncoding::bit8, TransferEncoding::binary}) {
        if (AnsiStr::Compare(text.GetStr(), TransferEncoding::GetStr(key).GetStr(), true) == 0) {
            encoding = key;
            return true;
        }
    }
    return false;
}

}  // namespace

namespace {

/// The type as text, and the keys when they stand for just that text; writers have to know a
/// multipart. Without a field the type is
/// text/plain, in a digest message/rfc822 (RFC 2045, 5.2; RFC 2046, 5.1.5).
void SetTypeFromField(ContentType& target, const AnsiStr& field, bool isInDigest) noexcept {
    const AnsiStr type =
        !field.IsEmpty() ? field : AnsiStr(isInDigest ? "message/rfc822" : "text/plain");
    target.str = type;
    ContentType keys;
    SetKeysFromType(keys, type);
    if (EqualsCaseless(CanonicType(keys.type, keys.subType), type.GetStr())) {
        target.type = keys.type;
        target.subType = keys.subType;
    } else if (IsMultipart(type)) {
        target.type = Type::multipart;
    }
}

bool SetTransferEncoding(Part& part, ReadState& state, const AnsiStr& text, const char* where) {
    if (ParseTransferEncoding(text, part.info.transferEncoding)) return true;
    if (!state.options.anyTransferEncoding) {
        return state.Fail(Messages::UnsupportedTransferEncoding(text));
    }
    part.info.transferEncoding = TransferEncoding::binary;
    state.Note(IsUuencode(text) ? Deviation::uuencodedBody : Deviation::unknownTransferEncoding,
               where);
    return true;
}

AnsiStr GetParameter(const HeaderMap& headers, const char* field, const char* name) noexcept {
    const HeaderMap::Node* node = headers.Find(field);
    const ParameterMap::Node* found = node != nullptr ? node->value.parameters.Find(name) : nullptr;
    return found != nullptr ? found->value.value : AnsiStr();
}

void NoteFileNames(const HeaderMap& headers, ReadState& state, const char* where) {
    if (!state.WantsNotes()) return;
    const AnsiStr fileName = GetParameter(headers, "Content-Disposition", "filename");
    const AnsiStr name = GetParameter(headers, "Content-Type", "name");
    if (!fileName.IsEmpty() && !name.IsEmpty() && !(fileName == name)) {
        state.Note(Deviation::conflictingFileNames, where);
    }
}

/// Is the entity a message? Notes what its type and its encoding say against each other.
void SetStructure(Part& part, ReadState& state, const HeaderValue& type, const char* where,
                  bool isInDigest) {
    const TransferEncoding::keys encoding = part.info.transferEncoding;
    const bool isEncoded =
        encoding == TransferEncoding::base64 || encoding == TransferEncoding::quoted_printable;
    if (IsMultipart(type.value)) {
        if (part.info.boundary.IsEmpty()) state.Note(Deviation::unusableBoundary, where);
        if (isEncoded) state.Note(Deviation::encodedMultipart, where);
        return;
    }
    if (!state.options.messages) return;
    if (!IsMessage(type.value) && !(isInDigest && type.value.IsEmpty())) return;
    part.info.isMessage = !isEncoded;
    if (isEncoded) state.Note(Deviation::encodedMessage, where);
}

}  // namespace

bool SetInfoFromHeaders(Part& part, ReadState& state, const char* where, bool isInDigest) {
    const HeaderMap::Node* type = part.headers.FindOrInsert(Header::Content_Type);
    const HeaderMap::Node* encoding = part.headers.FindOrInsert(Header::Content_Transfer_Encoding);
    if (type == nullptr || encoding == nullptr) return false;
    const ParameterMap::Node* boundary =
        IsMultipart(type->value.value) ? type->value.parameters.Find("boundary") : nullptr;
    part.info.boundary = boundary != nullptr ? boundary->value.value : AnsiStr();
    if (state.options.structuredFields) {
        SetTypeFromField(part.info.contentType, type->value.value, isInDigest);
    } else {
        SetKeysFromType(part.info.contentType, type->value.value);
    }
    if (!SetTransferEncoding(part, state, encoding->value.value, where)) return false;
    SetStructure(part, state, type->value, where, isInDigest);
    NoteFileNames(part.headers, state, where);
    return true;
}

bool SetInfoFromHeaders(Part& part, AnsiStr& error) {
    const ReadOptions none;
    Cursor cursor("", 0);
    ReadState state(cursor.GetNext(), cursor, error, none, nullptr);
    return SetInfoFromHeaders(part, state, cursor.GetNext(), false);
}

}  // namespace MIME

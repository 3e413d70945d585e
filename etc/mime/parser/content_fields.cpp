#include "mime/parser/content_fields.h"

#include <string_view>

#include "mime/parser/messages.h"

namespace MIME {

namespace {

bool IsMultipart(const AnsiStr& type) noexcept {
    constexpr std::string_view kPrefix = "Multipart/";
    return AnsiStr::NCompare(type.GetStr(), kPrefix.data(), kPrefix.size(), true) == 0;
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

bool SetInfoFromHeaders(Part& part, AnsiStr& error) noexcept {
    const HeaderMap::Node* type = part.headers.FindOrInsert(Header::Content_Type);
    const HeaderMap::Node* encoding = part.headers.FindOrInsert(Header::Content_Transfer_Encoding);
    if (type == nullptr || encoding == nullptr) return false;
    const ParameterMap::Node* boundary =
        IsMultipart(type->value.value) ? type->value.parameters.Find("boundary") : nullptr;
    part.info.boundary = boundary != nullptr ? boundary->value.value : AnsiStr();
    SetKeysFromType(part.info.contentType, type->value.value);
    if (!ParseTransferEncoding(encoding->value.value, part.info.transferEncoding)) {
        error = Messages::UnsupportedTransferEncoding(encoding->value.value);
        return false;
    }
    return true;
}

}  // namespace MIME

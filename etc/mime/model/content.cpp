#include "mime/encoding/quoted_printable.h"
#include "mime/mime.h"

namespace MIME {

namespace {

constexpr unsigned kBase64Line = 76;  // RFC 2045, 6.8

bool EncodeBase64(const char* data, unsigned size, AnsiStr& text) noexcept {
    text = KivGuiBase::Binary2B64Str(data, size, kBase64Line, "\r\n");
    return size == 0 || !text.IsEmpty();
}

}  // namespace

bool Part::SetContent(const MemoryFile& source, const ContentType& newType) noexcept {
    if (source.GetSize() > AnsiStr::kMaxLength) return false;
    const auto size = static_cast<unsigned>(source.GetSize());
    const bool isText = newType.type == Type::text;
    const auto encoding = isText ? TransferEncoding::quoted_printable : TransferEncoding::base64;

    // Everything that can fail comes first, so that a failure changes nothing.
    AnsiStr text;
    if (isText ? !QuotedPrintable::EncodeText(source.GetData(), size, text)
               : !EncodeBase64(source.GetData(), size, text)) {
        return false;
    }
    HeaderMap::Node* field = headers.FindOrInsert(Header::Content_Transfer_Encoding);
    if (field == nullptr) return false;
    field->value.value = TransferEncoding::GetStr(encoding);
    info.contentType = newType;
    info.transferEncoding = encoding;
    data.content = text;
    data.encoded = true;
    return true;
}

}  // namespace MIME

#include "mime/encoding/body_encoding.h"
#include "mime/mime.h"

namespace MIME {

bool Part::SetContent(const MemoryFile& source, const ContentType& newType) noexcept {
    if (source.GetSize() > AnsiStr::kMaxLength) return false;
    const auto size = static_cast<unsigned>(source.GetSize());
    const auto encoding =
        newType.type == Type::text ? TransferEncoding::quoted_printable : TransferEncoding::base64;

    // Everything that can fail comes first, so that a failure changes nothing.
    AnsiStr text;
    if (!EncodeBody(source.GetData(), size, encoding, text)) return false;
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

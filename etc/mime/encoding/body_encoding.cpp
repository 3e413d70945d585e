#include "mime/encoding/body_encoding.h"

#include "mime/encoding/quoted_printable.h"

namespace MIME {

bool EncodeBody(const char* data, unsigned size, TransferEncoding::keys encoding,
                AnsiStr& text) noexcept {
    constexpr unsigned kBase64Line = 76;  // RFC 2045, 6.8
    if (encoding == TransferEncoding::quoted_printable) {
        return QuotedPrintable::EncodeText(data, size, text);
    }
    text = KivGuiBase::Binary2B64Str(data, size, kBase64Line, "\r\n");
    return size == 0 || !text.IsEmpty();
}

}  // namespace MIME

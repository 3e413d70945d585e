#include "mime/encoding/body_encoding.h"

#include "kivgui/convert.h"
#include "mime/encoding/quoted_printable.h"

namespace MIME {

namespace {

bool EncodeBase64(const char* data, unsigned size, AnsiStr& text) noexcept {
    constexpr unsigned kLineLength = 76;  // RFC 2045, 6.8
    text = KivGuiBase::Binary2B64Str(data, size, kLineLength, "\r\n");
    return size == 0 || !text.IsEmpty();
}

bool EncodeQuotedPrintable(const char* data, unsigned size, AnsiStr& text) noexcept {
    return QuotedPrintable::EncodeText(data, size, text);
}

bool EncodeIdentity(const char* data, unsigned size, AnsiStr& text) noexcept {
    text = AnsiStr(data, size);
    return text.GetLength() == size;
}

}  // namespace

bool EncodeBody(const char* data, unsigned size, TransferEncoding::keys encoding,
                AnsiStr& text) noexcept {
    switch (encoding) {
#define MIME_TRANSFER_ENCODING(key, name, isIdentity, codec) \
    case TransferEncoding::key:                              \
        return Encode##codec(data, size, text);
#include "mime/encoding/transfer_encodings.inc"
    }
    return false;
}

}  // namespace MIME

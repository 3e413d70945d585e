#include "mime/mime.h"

namespace MIME {

AnsiStr TransferEncoding::GetStr(keys key) noexcept {
    switch (key) {
        case base64:
            return "base64";
        case quoted_printable:
            return "quoted-printable";
        case bit7:
            return "7bit";
        case bit8:
            return "8bit";
        case binary:
            return "binary";
    }
    return {};
}

}  // namespace MIME

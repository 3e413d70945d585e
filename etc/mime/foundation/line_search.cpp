#include "mime/foundation/line_search.h"

#include "mime/foundation/vector16.h"

namespace MIME {

size_t FindLineStop(const char* text, size_t size) noexcept {
    if (size < 2) return size;
    const size_t places = size - 1;  // a stop has a byte behind it
    size_t at = 0;
    for (; places - at >= Vector16::kSize; at += Vector16::kSize) {
        const Vector16 bytes(text + at);
        PlaceMask stops = bytes.Are('\0') | bytes.Are('\r');
        if (stops == 0) continue;
        // A CR is rare without its LF, so the bytes behind are looked at only now.
        stops &= bytes.Are('\0') | Vector16(text + at + 1).Are('\n');
        if (stops != 0) return at + CountLeading(~stops);
    }
    for (; at < places; ++at) {
        if (text[at] == '\0' || (text[at] == '\r' && text[at + 1] == '\n')) return at;
    }
    return size;
}

}  // namespace MIME

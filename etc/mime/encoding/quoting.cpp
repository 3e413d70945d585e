#include <algorithm>

#include "mime/foundation/char_class.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

namespace MIME {

using KivGuiBase::Growth;

namespace {

constexpr bool NeedsBackslash(char c) noexcept {
    return c == '"' || c == '\\' || c == '\r';
}

}  // namespace

bool Encoding::IsAtom(const AnsiStr& text) noexcept {
    const std::string_view bytes = GetCText(text);
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return kAtomBytes.Has(c); });
}

AnsiStr Encoding::Quote(const AnsiStr& text) noexcept {
    const std::string_view bytes = GetCText(text);
    return Guarded(AnsiStr(), [bytes] {
        const uint64_t room = 2 * uint64_t{bytes.size()} + 2;
        AnsiStr quoted;
        const auto reserved = static_cast<unsigned>(std::min<uint64_t>(room, AnsiStr::kMaxLength));
        if (quoted.Alloc(reserved) == nullptr) return AnsiStr();
        quoted += '"';
        for (std::string_view rest = bytes; !rest.empty();) {
            const auto plain = std::find_if(rest.begin(), rest.end(), NeedsBackslash);
            const auto length = static_cast<size_t>(plain - rest.begin());
            quoted.Append(rest.substr(0, length), Growth::spare);
            rest.remove_prefix(length);
            if (rest.empty()) break;
            quoted.Append('\\', Growth::spare);
            quoted.Append(rest.front(), Growth::spare);
            rest.remove_prefix(1);
        }
        quoted += '"';
        quoted.Shrink();
        return quoted;
    });
}

}  // namespace MIME

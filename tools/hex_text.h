#pragma once

#include <string>
#include <string_view>

#include "kivgui/hex.h"

namespace Tool {

/// The bytes as hexadecimal digits in lower case, two each.
inline std::string MakeHexText(std::string_view bytes) {
    std::string text(2 * bytes.size(), '\0');
    char* out = text.data();
    for (const char byte : bytes) out = KivGuiBase::WriteHexPair(byte, out);
    return KivGuiBase::MakeLowerAscii(text);
}

}  // namespace Tool

#include "kivgui/error.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"
#include "kivgui/utf8.h"

namespace KivGuiBase {

uint32_t GetLastError() noexcept {
    return Platform::GetThreadError();
}

void SetLastError(uint32_t code) noexcept {
    Platform::SetThreadError(code);
}

AnsiStr GetErrorMessage(unsigned long code, unsigned short /*language*/,
                        unsigned short /*subLanguage*/) {
    const auto number = static_cast<uint32_t>(code);
    const MemoryWatch watch;
    AnsiStr text = Platform::GetErrorText(number);
    if (!text.IsEmpty() || watch.HasFailed()) return text;
    char unknown[sizeof "Error 0x01234567"];
    std::snprintf(unknown, sizeof unknown, "Error 0x%08X", static_cast<unsigned>(number));
    return unknown;
}

void SetErrorMessage(const AnsiStr& text) {
    const std::string_view view = text;
    size_t length = view.size();
    if (length > kMaxErrorMessage) {
        length = kMaxErrorMessage;
        while (length > 0 && IsUtf8Tail(view[length])) --length;  // not inside a character
    }
    ThreadData::Message& slot = Platform::GetThreadData().message;
    view.copy(slot.text, length);
    slot.length = static_cast<unsigned>(length);
}

AnsiStr GetStoredErrorMessage() {
    const ThreadData::Message& slot = Platform::GetThreadData().message;
    return AnsiStr(slot.text, slot.length);
}

void DebugAbort(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
    std::fputc('\n', stderr);
    std::abort();
}

}  // namespace KivGuiBase

#include "kivgui/error.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "kivgui/ansi_str.h"
#include "kivgui/platform/platform.h"

namespace KivGuiBase {

namespace {

thread_local uint32_t lastError = kErrorNone;

AnsiStr& GetMessageSlot() {
    thread_local AnsiStr slot;
    return slot;
}

}  // namespace

uint32_t GetLastError() noexcept {
    return lastError;
}

void SetLastError(uint32_t code) noexcept {
    lastError = code;
}

AnsiStr GetErrorMessage(unsigned long code, unsigned short /*language*/,
                        unsigned short /*subLanguage*/) {
    const auto number = static_cast<uint32_t>(code);
    AnsiStr text = Platform::GetErrorText(number);
    if (!text.IsEmpty()) return text;
    char unknown[sizeof "Error 0x01234567"];
    std::snprintf(unknown, sizeof unknown, "Error 0x%08X", static_cast<unsigned>(number));
    return unknown;
}

void SetErrorMessage(const AnsiStr& text) {
    GetMessageSlot() = text;
}

AnsiStr GetStoredErrorMessage() {
    return GetMessageSlot();
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

#include "output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "escape.h"
#include "kivgui/error.h"

namespace Tool {

std::string GetLastReason() {
    uint32_t code = KivGuiBase::GetLastError();
    // What fails without a code failed because memory ran out.
    if (code == KivGuiBase::kErrorNone) code = KivGuiBase::kErrorNotEnoughMemory;
    return ToString(KivGuiBase::GetErrorMessage(code, 0, 1));
}

std::string GetSystemReason() {
    return std::generic_category().message(errno);
}

void Print(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
        throw Failure("standard output", GetSystemReason());
    }
}

void FinishOutput() {
    if (std::fflush(stdout) != 0) throw Failure("standard output", GetSystemReason());
}

void PrintError(const std::string& text) {
    constexpr size_t kMaxText = 500;
    std::string line = "kivmime: " + Escape(std::string_view(text).substr(0, kMaxText));
    if (text.size() > kMaxText) {
        line += "... (" + std::to_string(text.size() - kMaxText) + " more bytes)";
    }
    line += '\n';
    std::fputs(line.c_str(), stderr);
}

}  // namespace Tool

#include "output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "escape.h"
#include "failure.h"

namespace Tool {

namespace {

[[noreturn]] void Fail(int error) {
    throw Failure("standard output", std::generic_category().message(error));
}

}  // namespace

void Print(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) Fail(errno);
}

void FinishOutput() {
    if (std::fflush(stdout) != 0) Fail(errno);
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

#include "colours.h"

#include <cstdio>
#include <cstdlib>

#include "platform/system.h"

namespace Tool {

namespace {

bool isColoured = false;

}  // namespace

void SetColours(const std::string& when) {
    isColoured = when == "always";
    if (when != "auto") return;
    const char* const unwanted = std::getenv("NO_COLOR");
    if (unwanted == nullptr || *unwanted == '\0') isColoured = System::ShowsColours(stdout);
}

std::string Paint(Colour colour, const std::string& text) {
    constexpr const char* kCodes[] = {"1", "31", "33", "32", "36"};
    if (!isColoured) return text;
    return std::string("\x1B[") + kCodes[static_cast<size_t>(colour)] + "m" + text + "\x1B[0m";
}

}  // namespace Tool

#pragma once

#include <string>

namespace Tool {

enum class Colour { bold, red, yellow, green, cyan };

/// Says when Paint colours what it is given: "always", "never" or "auto", which is where standard output
/// is a terminal and NO_COLOR is not set, or empty. To be called before Paint.
void SetColours(const std::string& when);

/// A text that is ready to be printed, in a colour where there are to be any.
std::string Paint(Colour colour, const std::string& text);

}  // namespace Tool

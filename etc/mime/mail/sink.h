#pragma once

#include <functional>
#include <string_view>

namespace MIME {

/// Receives bytes in pieces. False stops what makes them. What it throws passes through.
using Sink = std::function<bool(std::string_view piece)>;

}  // namespace MIME

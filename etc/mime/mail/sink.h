#pragma once

#include <functional>
#include <string_view>

namespace MIME {

/// Receives bytes in pieces. Returning false stops the operation. Its exceptions pass through.
using Sink = std::function<bool(std::string_view piece)>;

}  // namespace MIME

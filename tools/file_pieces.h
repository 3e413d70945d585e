#pragma once

#include <functional>
#include <string_view>

#include <mime/mime.h>

namespace Tool {

/// Hands a file's bytes to `take`, piece by piece. @throws Failure when it cannot be read.
void ReadPieces(const KivGuiBase::File& file, const std::function<void(std::string_view)>& take);

}  // namespace Tool

#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

#include <mime/mime.h>

namespace Tool {

/// Hands a file's bytes to `take`, piece by piece. @throws Failure when it cannot be read.
void ReadPieces(const KivGuiBase::File& file, const std::function<void(std::string_view)>& take);

/// The same for an open stream, which the user calls `name`.
void ReadPieces(std::FILE* stream, const std::string& name,
                const std::function<void(std::string_view)>& take);

}  // namespace Tool

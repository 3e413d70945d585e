#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <mime/mime.h>

/// Files as the user names them: a path, or "-" for a standard stream.
namespace Tool {

/// @name Paths
/// Paths are texts in the tool as in the library: UTF-8 on Windows, plain bytes elsewhere. The
/// standard library's own conversions assume another charset on Windows.
/// @throws std::filesystem::filesystem_error when a path cannot be expressed in the system's form.
/// @{
inline std::filesystem::path ToPath(const std::string& text) {
    return std::u8string(text.begin(), text.end());
}
inline std::string FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}
/// @}

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

using TakePiece = std::function<void(std::string_view)>;

/// Passes a file's bytes to `take`, piece by piece. @throws Failure when it cannot be read.
void ReadPieces(const KivGuiBase::File& file, const TakePiece& take);

/// The same for an open stream, which messages call `name`.
void ReadPieces(std::FILE* stream, const std::string& name, const TakePiece& take);

/// Returns true if `target` is standard output ("-"), a pipe or a device: something that takes
/// bytes in order and cannot be replaced.
bool IsStream(const std::string& target);

/// Writes what `give` passes on, as it comes, to a stream or into a plain file, which is made or replaced
/// when everything is written (KivGuiBase::ReplacedFile). A write that takes long is shown on the terminal.
/// @throws Failure, and what `give` throws; an old file is then unchanged.
void WritePieces(const std::string& target, const std::function<void(const TakePiece&)>& give);

}  // namespace Tool

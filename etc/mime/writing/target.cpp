#include "mime/writing/target.h"

#include "kivgui/error.h"
#include "kivgui/replaced_file.h"
#include "mime/mail/file_error.h"
#include "mime/mail/whole.h"
#include "mime/writing/write_failure.h"

namespace MIME {

Result<void> SaveTo(const std::filesystem::path& path, const Writing& write) {
    return Caught<void>([&] {
        const auto check = [&path](bool isDone) {
            if (isDone) return;
            throw WriteFailure{
                MakeFileError(ErrorCode::cannotWrite, path, KivGuiBase::GetLastError())};
        };
        KivGuiBase::ReplacedFile file;
        check(file.Open(Whole([&] { return KivGuiBase::File(path); })));
        write([&](std::string_view piece) { check(file.Write(piece.data(), piece.size())); });
        check(file.Commit());
    });
}

Result<void> PassTo(const Sink& sink, const Writing& write) {
    return Caught<void>([&] {
        write([&](std::string_view piece) {
            if (!piece.empty() && !sink(piece)) Fail(ErrorCode::refused);
        });
    });
}

Result<std::string> Collect(const Writing& write) {
    return Caught<std::string>([&] {
        std::string text;
        write([&](std::string_view piece) { text += piece; });
        return text;
    });
}

}  // namespace MIME

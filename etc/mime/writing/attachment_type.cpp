#include "mime/writing/attachment_type.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "kivgui/ascii.h"
#include "mime/mail/whole.h"
#include "mime/mime.h"

namespace MIME {

using KivGuiBase::MakeLowerAscii;

namespace {

struct NewerType {
    std::string_view extension;
    std::string_view type;
};

constexpr NewerType kNewerTypes[] = {
#define MIME_NEWER_TYPE(extension, type) {extension, type},
#include "mime/writing/newer_types.inc"
};

constexpr bool IsSorted() noexcept {
    return std::ranges::adjacent_find(kNewerTypes, std::greater_equal<>(), &NewerType::extension) ==
           std::end(kNewerTypes);
}
static_assert(IsSorted(), "newer_types.inc: sorted by extension, each extension once");

}  // namespace

std::string GetAttachmentType(std::string_view fileName) {
    const size_t dot = fileName.rfind('.');
    const std::string extension =
        dot == std::string_view::npos ? std::string() : MakeLowerAscii(fileName.substr(dot + 1));
    const auto* const row =
        std::ranges::lower_bound(kNewerTypes, extension, {}, &NewerType::extension);
    if (row != std::end(kNewerTypes) && row->extension == extension) return std::string(row->type);
    return Whole([&] {
        ContentType type;
        GetTypeFromExt(AnsiStr(extension), type);
        return MakeLowerAscii(std::string_view(type.GetStr()));
    });
}

}  // namespace MIME

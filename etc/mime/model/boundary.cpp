#include "mime/mime.h"

namespace MIME {

void Info::GenerateBoundary() noexcept {
    constexpr unsigned kUniqueBytes = 16;
    unsigned char unique[kUniqueBytes];
    KivGuiBase::GetUnpredictableBytes(unique, sizeof unique);
    const AnsiStr digits = KivGuiBase::Binary2B16Str(unique, sizeof unique, 0, "\r\n");
    // Half a boundary would be no boundary.
    boundary = digits.IsEmpty() ? AnsiStr() : AnsiStr("=_Qvm_=-") + digits;
}

}  // namespace MIME

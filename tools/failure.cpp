#include "failure.h"

#include <mime/mime.h>

namespace Tool {

std::string GetLastReason() {
    uint32_t code = KivGuiBase::GetLastError();
    // Everything that fails without a code failed for want of memory.
    if (code == KivGuiBase::kErrorNone) code = KivGuiBase::kErrorNotEnoughMemory;
    return std::string(std::string_view(KivGuiBase::GetErrorMessage(code, 0, 1)));
}

}  // namespace Tool

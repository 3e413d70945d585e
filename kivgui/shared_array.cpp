#include "kivgui/shared_array.h"

namespace KivGuiBase {

void ReportArrayOverflow(unsigned /*count*/, unsigned /*added*/) noexcept {
    SetLastError(kErrorStringOverflow);
}

void ReportArrayAllocFail(unsigned /*capacity*/, unsigned /*count*/) noexcept {
    SetLastError(kErrorOutOfMemory);
}

}  // namespace KivGuiBase

#pragma once

#include <new>
#include <string>

#include "faults/faults.h"
#include "kivgui/error.h"
#include "mime/mail/result.h"

namespace MIME::Faults {

/// Runs what gives a text or an error; the text is the result to compare.
template <class Body>
bool Try(State& s, Body body) {
    try {
        const Result<std::string> result = body();
        if (!result) {
            KivGuiBase::SetLastError(result.error().GetSystemCode());
            return false;
        }
        Disarm();
        s.texts[0] = std::string_view(*result);
        Arm();
        return true;
    } catch (const std::bad_alloc&) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
}

}  // namespace MIME::Faults

#pragma once

#include <new>

#include "kivgui/error.h"
#include "kivgui/memory.h"

namespace MIME {

/// Runs the body of a function that hosts call. Its result counts only when no allocation failed on
/// the way; otherwise `failure` is returned, with the last error kErrorNotEnoughMemory: a result is
/// whole, or it is a failure. `body` undoes nothing, so it must change what hosts see only when it
/// cannot fail any more. Nests.
template <class Result, class Body>
Result Guarded(const Result& failure, Body body) noexcept {
    const KivGuiBase::MemoryWatch watch;
    try {
        Result result = body();
        if (!watch.HasFailed()) return result;
    } catch (const std::bad_alloc&) {
        KivGuiBase::NoteMissingMemory();
    }
    KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
    return failure;
}

}  // namespace MIME

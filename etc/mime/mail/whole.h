#pragma once

#include <new>

#include "kivgui/memory.h"

namespace MIME {

/// Runs `body` and returns what it gives, which must be a value. Throws std::bad_alloc when any
/// allocation failed on the way, those of the base layer included, whose texts are then empty or
/// short: a result is whole, or it is none. The counterpart of `Guarded` for functions that hand out
/// standard types.
template <class Body>
auto Whole(Body body) {
    const KivGuiBase::MemoryWatch watch;
    auto result = body();
    if (watch.HasFailed()) throw std::bad_alloc();
    return result;
}

}  // namespace MIME

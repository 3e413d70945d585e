#pragma once

#include <cstdio>
#include <cstdlib>

namespace MIME::Fuzz {

/// Ends the process, which libFuzzer takes for a crash, when something is not as it must be.
inline void Check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

}  // namespace MIME::Fuzz

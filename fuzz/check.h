#pragma once

#include <cstdio>
#include <cstdlib>

namespace MIME::Fuzz {

/// Aborts the process, which libFuzzer reports as a crash, when a condition does not hold.
inline void Check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

}  // namespace MIME::Fuzz

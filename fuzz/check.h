#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "support/bytes.h"

namespace MIME::Fuzz {

/// Aborts the process, which libFuzzer reports as a crash, when a condition does not hold.
inline void Check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

/// The same for two texts, which a failure shows.
inline void CheckEqual(std::string_view got, std::string_view expected, const char* what) {
    if (got == expected) return;
    constexpr size_t kShown = 2000;
    std::fprintf(stderr, "got      \"%s\"\nexpected \"%s\"\n",
                 Test::Escape(got.substr(0, kShown)).c_str(),
                 Test::Escape(expected.substr(0, kShown)).c_str());
    Check(false, what);
}

}  // namespace MIME::Fuzz

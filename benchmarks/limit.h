#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace MIME::Bench {

/// Sets how many bytes one iteration takes, and which benchmark of the same run does the least work
/// that these bytes need: the limit. The table compares the two.
inline void SetBytesAndLimit(benchmark::State& state, uint64_t bytes, const std::string& limit) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
    state.SetLabel(limit);
}

}  // namespace MIME::Bench

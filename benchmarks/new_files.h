#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

namespace MIME::Bench {

/// Deletes every file in the folder, with the clock stopped.
void WipeUntimed(benchmark::State& state, const Test::TempFolder& folder);

/// The sizes of the files in the folder.
std::vector<size_t> GetFileSizes(const Test::TempFolder& folder);

/// The limit of whatever makes new files: in each iteration, reads the files of a folder, if one is
/// given, with one read each; creates files of these sizes, gives each its content with one write,
/// and closes it. `bytes` is what the benchmark counts.
void MeasureNewFiles(benchmark::State& state, const std::vector<size_t>& sizes, uint64_t bytes,
                     const Test::TempFolder* sources = nullptr);

}  // namespace MIME::Bench

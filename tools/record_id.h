#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Tool {

/// Names the record of a message: the same for the same path, as it was given, and the same offset in
/// that file, on every run and every system.
///
/// A hash of 128 bits (SipHash-2-4 with a key of zeros), so that a million of them take 16 MB.
struct RecordId {
    static constexpr size_t kTextLength = 32;

    std::array<uint64_t, 2> words{};

    static RecordId Make(std::string_view file, uint64_t offset);
    /// Reads what GetText gives.
    static std::optional<RecordId> Parse(std::string_view text);

    /// kTextLength digits, lower case.
    std::string GetText() const;

    friend bool operator<(const RecordId& a, const RecordId& b) {
        return std::lexicographical_compare(a.words.begin(), a.words.end(), b.words.begin(),
                                            b.words.end());
    }
};

}  // namespace Tool

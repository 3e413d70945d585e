#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Tool {

/// For its lifetime the library draws its unpredictable bytes from a generator with this seed, so
/// that boundaries and message identifiers come out the same on every run. Without a seed nothing
/// changes. One at a time.
class FixedRandomness {
public:
    explicit FixedRandomness(const std::optional<uint64_t>& seed);
    ~FixedRandomness();
    FixedRandomness(const FixedRandomness&) = delete;
    FixedRandomness& operator=(const FixedRandomness&) = delete;
};

/// A point of time as the value of Date (RFC 5322, 3.3), in UTC. @param seconds  since 1970.
std::string FormatDate(int64_t seconds);
int64_t GetSecondsNow();

/// Throws Failure unless `date` has the form of Date's value: "Thu, 09 Jul 2026 11:21:09 +0200".
void CheckDate(const std::string& option, const std::string& date);

/// A new value of Message-ID (RFC 5322, 3.6.4): 128 random bits at the sender's domain.
std::string MakeMessageId(const std::string& domain);

/// Throws Failure unless `id` is "<", text without white space, "@", more such text and ">".
void CheckMessageId(const std::string& option, const std::string& id);

}  // namespace Tool

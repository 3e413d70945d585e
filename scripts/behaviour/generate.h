#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Behaviour {

/// Pseudo-random numbers that are the same on every platform (SplitMix64).
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed * 0x2545F4914F6CDD1D + 1) {}

    uint64_t Next() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }
    /// A number below `limit`, which is not 0.
    unsigned Below(uint64_t limit) { return static_cast<unsigned>(Next() % limit); }
    bool OneIn(unsigned count) { return Below(count) == 0; }
    template <class List>
    std::string Pick(const List& list) {
        return std::string(std::data(list)[Below(std::size(list))]);
    }

private:
    uint64_t state_;
};

/// A message, or with `contentType` a body and the field value that travelled apart from it.
struct Input {
    std::string text;
    std::string contentType;
    bool isApart = false;
};

/// Texts like those of header fields, bodies and file names: tokens that mean something to the
/// parsers, in random order, with random bytes between.
std::string MakeHeaderText(Random& random);
std::string MakeAddressText(Random& random);
std::string MakeBodyText(Random& random);
std::string MakeFileName(Random& random);
std::string MakeBytes(Random& random, unsigned maxSize);
/// Lines about as long as those that the encoders write, with what has to be escaped near their ends.
std::string MakeLongLines(Random& random);
std::string MakeContentType(Random& random);

std::string EncodeBase64(std::string_view bytes, unsigned lineLength, std::string_view lineEnd);

/// A message with the structure of real ones and up to many faults in it; some are changed copies of
/// `samples`.
Input MakeInput(Random& random, const std::vector<std::string>& samples);

}  // namespace Behaviour

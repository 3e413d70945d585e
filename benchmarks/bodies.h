#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/bytes.h"

/// What the benchmarks encode, decode and put into messages: the same in every run.
namespace MIME::Bench {

using MakeBody = std::string (*)(size_t size);

/// Prose in lines of up to 80 characters, some with a letter above ASCII, as mail programs send.
inline std::string MakeProse(size_t size) {
    constexpr std::string_view kWords[] = {"the",         "of",  "a",         "message", "that",
                                           "K\xC3\xB6ln", "and", "is",        "meeting", "for",
                                           "tomorrow,",   "in",  "attached.", "please",  "regards"};
    Test::Random random(1);
    std::string text;
    size_t lineStart = 0;
    while (text.size() < size) {
        text += kWords[random.Below(std::size(kWords))];
        if (text.size() - lineStart > 70) {
            text += "\r\n";
            lineStart = text.size();
        } else {
            text += ' ';
        }
    }
    text.resize(size);
    return text;
}

inline std::string MakeBinary(size_t size) {
    return Test::Random(2).Bytes(size);
}

/// Lines of 50 to 80 letters, of which one in four is a byte above ASCII.
inline std::string MakeMixed(size_t size) {
    Test::Random random(4);
    std::string text;
    while (text.size() < size) {
        for (size_t left = 50 + random.Below(30); left > 0; --left) {
            const size_t number = random.Below(26);
            text += static_cast<char>(random.Below(4) == 0 ? 0xC0 + number : 'a' + number);
        }
        text += "\r\n";
    }
    text.resize(size);
    return text;
}

/// Different bodies of one size, a mebibyte of them or a single larger one: the processor learns every
/// branch of a short body that is repeated.
inline std::vector<std::string> MakeBodies(MakeBody makeBody, size_t size) {
    constexpr size_t kTotal = 1 << 20;
    const std::string text = makeBody(std::max(size, kTotal));
    std::vector<std::string> bodies;
    for (size_t start = 0; start < text.size(); start += size) {
        bodies.push_back(text.substr(start, size));
    }
    return bodies;
}

}  // namespace MIME::Bench

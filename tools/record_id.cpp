#include "record_id.h"

#include <algorithm>
#include <bit>

#include "hex_text.h"

namespace Tool {

namespace {

/// SipHash-2-4 with a result of 128 bits and a key of zeros.
class SipHash {
public:
    void Take(uint64_t word) {
        v3_ ^= word;
        Mix(2);
        v0_ ^= word;
    }

    std::array<uint64_t, 2> Finish() {
        std::array<uint64_t, 2> words;
        v2_ ^= 0xEE;
        Mix(4);
        words[0] = v0_ ^ v1_ ^ v2_ ^ v3_;
        v1_ ^= 0xDD;
        Mix(4);
        words[1] = v0_ ^ v1_ ^ v2_ ^ v3_;
        return words;
    }

private:
    void Mix(int rounds) {
        for (int i = 0; i < rounds; ++i) {
            v0_ += v1_;
            v1_ = std::rotl(v1_, 13) ^ v0_;
            v0_ = std::rotl(v0_, 32);
            v2_ += v3_;
            v3_ = std::rotl(v3_, 16) ^ v2_;
            v0_ += v3_;
            v3_ = std::rotl(v3_, 21) ^ v0_;
            v2_ += v1_;
            v1_ = std::rotl(v1_, 17) ^ v2_;
            v2_ = std::rotl(v2_, 32);
        }
    }

    uint64_t v0_ = 0x736f6d6570736575;
    uint64_t v1_ = 0x646f72616e646f6d ^ 0xEE;
    uint64_t v2_ = 0x6c7967656e657261;
    uint64_t v3_ = 0x7465646279746573;
};

/// At most eight bytes as a number, the first one lowest.
uint64_t ReadWord(std::string_view bytes) {
    uint64_t word = 0;
    for (size_t i = bytes.size(); i-- > 0;) word = word << 8 | static_cast<unsigned char>(bytes[i]);
    return word;
}

}  // namespace

RecordId RecordId::Make(std::string_view file, uint64_t offset) {
    SipHash hash;
    hash.Take(offset);
    hash.Take(file.size());
    for (; !file.empty(); file.remove_prefix(std::min<size_t>(file.size(), 8))) {
        hash.Take(ReadWord(file.substr(0, 8)));
    }
    return {hash.Finish()};
}

std::optional<RecordId> RecordId::Parse(std::string_view text) {
    RecordId id;
    if (text.size() != kTextLength) return std::nullopt;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned digit = KivGuiBase::GetHexValue(text[i]);
        if (digit > 15) return std::nullopt;
        uint64_t& word = id.words[i / 16];
        word = word << 4 | digit;
    }
    return id;
}

std::string RecordId::GetText() const {
    std::string bytes;
    for (const uint64_t word : words) {
        for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(word >> shift);
    }
    return MakeHexText(bytes);
}

}  // namespace Tool

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace MIME {

/// Constant texts, one after the other: text n begins where text n - 1 ends.
struct TextTable {
    const char* chars;
    const uint16_t* ends;

    std::string_view operator[](size_t number) const noexcept {
        const size_t begin = number == 0 ? 0 : ends[number - 1];
        return {chars + begin, ends[number] - begin};
    }
};

/// Finds the numbers of texts in a TextTable: a hash table of numbers, which needs no memory besides.
/// What is looked up is folded to lower case first, so a text with capital letters is never found.
///
/// @tparam kSlots  a power of two, above the number of texts; twice as many keep searches short.
template <size_t kSlots>
class TextIndex {
public:
    static_assert(std::has_single_bit(kSlots));
    static constexpr size_t kNone = SIZE_MAX;

    /// Adds a text. It takes the place of an equal one that was added before.
    void Insert(const TextTable& texts, size_t number) noexcept {
        uint16_t& slot = slots_[FindSlot<AsItIs>(texts, texts[number])];
        if (slot == 0) ++count_;
        slot = static_cast<uint16_t>(number + 1);
    }

    /// The number of the text that `text` is in lower case, or kNone.
    size_t Find(const TextTable& texts, std::string_view text) const noexcept {
        return size_t{slots_[FindSlot<InLowerCase>(texts, text)]} - 1;
    }

    size_t GetCount() const noexcept { return count_; }

    void Clear() noexcept { *this = TextIndex(); }

private:
    static constexpr size_t kWord = sizeof(uint64_t);

    /// The eight characters at `at`, or those that are left.
    static uint64_t LoadWord(std::string_view text, size_t at) noexcept {
        uint64_t word = 0;
        if (text.size() - at >= kWord) {
            std::memcpy(&word, text.data() + at, kWord);
            return word;
        }
        while (at < text.size()) word = word << 8 | static_cast<unsigned char>(text[at++]);
        return word;
    }

    struct AsItIs {
        static uint64_t Fold(uint64_t chars) noexcept { return chars; }
    };

    struct InLowerCase {
        static uint64_t Fold(uint64_t chars) noexcept {
            constexpr uint64_t kEach = 0x0101010101010101;
            const uint64_t low = chars & 0x7F * kEach;
            // In each character the top bit says whether it is "A" or above, or above "Z".
            const uint64_t fromA = low + (0x80 - 'A') * kEach;
            const uint64_t aboveZ = low + (0x7F - 'Z') * kEach;
            return chars | ((fromA & ~aboveZ & ~chars & 0x80 * kEach) >> 2);
        }
    };

    template <class Case>
    static size_t Hash(std::string_view text) noexcept {
        uint64_t hash = 0;
        for (size_t at = 0; at < text.size(); at += kWord) {
            hash = (hash ^ Case::Fold(LoadWord(text, at))) * 0x9E3779B97F4A7C15;
            hash ^= hash >> 32;
        }
        return static_cast<size_t>(hash);
    }

    template <class Case>
    static bool Equals(std::string_view known, std::string_view text) noexcept {
        if (known.size() != text.size()) return false;
        for (size_t at = 0; at < text.size(); at += kWord) {
            if (LoadWord(known, at) != Case::Fold(LoadWord(text, at))) return false;
        }
        return true;
    }

    /// The slot of the text, or the free one where it belongs.
    template <class Case>
    size_t FindSlot(const TextTable& texts, std::string_view text) const noexcept {
        size_t slot = Hash<Case>(text) % kSlots;
        while (slots_[slot] != 0 && !Equals<Case>(texts[slots_[slot] - 1u], text)) {
            slot = (slot + 1) % kSlots;
        }
        return slot;
    }

    uint16_t slots_[kSlots]{};
    size_t count_ = 0;
};

}  // namespace MIME

#include "mime/foundation/text_search.h"

#include <cstring>
#include <new>

#include "kivgui/kernels/vector16.h"

// Both searches look at 16 places a step.
//
// TextFinder compares the first and the last byte of the wanted string at 16 places and verifies the
// candidates. Invariant: the bytes spent on false candidates never exceed four times the bytes passed
// plus a constant. When they would, the search goes on with the table of Knuth, Morris and Pratt from
// the last candidate on, so the total is linear for any text and string. If there is no memory for
// the table, the search goes on as it is.

namespace MIME {

using KivGuiBase::CountLeading;
using KivGuiBase::PlaceMask;
using KivGuiBase::Vector16;

size_t FindLineStop(const char* text, size_t size) noexcept {
    if (size < 2) return size;
    const size_t places = size - 1;  // a stop has a byte after it
    size_t at = 0;
    for (; places - at >= Vector16::kSize; at += Vector16::kSize) {
        const Vector16 bytes(text + at);
        PlaceMask stops = bytes.Are('\0') | bytes.Are('\r');
        if (stops == 0) continue;
        // A CR is rare without its LF, so the bytes after CRs are compared only now.
        stops &= bytes.Are('\0') | Vector16(text + at + 1).Are('\n');
        if (stops != 0) return at + CountLeading(~stops);
    }
    for (; at < places; ++at) {
        if (text[at] == '\0' || (text[at] == '\r' && text[at + 1] == '\n')) return at;
    }
    return size;
}

namespace {

/// How many bytes of comparisons a search may spend before it changes its method: a multiple of
/// the bytes it has passed, and enough for a few false hits in a short text.
constexpr size_t GetAllowance(size_t passed) noexcept {
    constexpr size_t kFirstAllowance = 4096;
    return kFirstAllowance + 4 * passed;
}

}  // namespace

size_t TextFinder::Find(std::string_view text) noexcept {
    const std::string_view wanted = wanted_;
    if (text.size() < wanted.size()) return kNotFound;
    const size_t places = text.size() - wanted.size() + 1;
    const char first = wanted.front();
    const char last = wanted.back();
    const char* const ends = text.data() + wanted.size() - 1;
    size_t compared = 0;
    size_t at = 0;
    for (; places - at >= Vector16::kSize; at += Vector16::kSize) {
        PlaceMask candidates =
            Vector16(text.data() + at).Are(first) & Vector16(ends + at).Are(last);
        for (; candidates != 0; candidates &= candidates - 1) {
            const size_t place = at + CountLeading(~candidates);
            if (std::memcmp(text.data() + place, wanted.data(), wanted.size()) == 0) return place;
            compared += wanted.size();
            if (compared > GetAllowance(at) && MakeTable()) {
                const size_t found = FindByTable(text.substr(place));
                return found == kNotFound ? found : place + found;
            }
        }
    }
    // At most 15 places are left.
    for (; at < places; ++at) {
        if (text[at] == first && std::memcmp(text.data() + at, wanted.data(), wanted.size()) == 0) {
            return at;
        }
    }
    return kNotFound;
}

bool TextFinder::MakeTable() noexcept {
    if (shorterMatches_ != nullptr) return true;
    const std::string_view wanted = wanted_;
    shorterMatches_.reset(new (std::nothrow) uint32_t[wanted.size()]);
    if (shorterMatches_ == nullptr) return false;
    shorterMatches_[0] = 0;
    uint32_t matched = 0;
    for (size_t i = 1; i < wanted.size(); ++i) {
        while (matched > 0 && wanted[i] != wanted[matched]) matched = shorterMatches_[matched - 1];
        if (wanted[i] == wanted[matched]) ++matched;
        shorterMatches_[i] = matched;
    }
    return true;
}

size_t TextFinder::FindByTable(std::string_view text) noexcept {
    const std::string_view wanted = wanted_;
    uint32_t matched = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        while (matched > 0 && text[i] != wanted[matched]) matched = shorterMatches_[matched - 1];
        if (text[i] == wanted[matched]) ++matched;
        if (matched == wanted.size()) return i + 1 - wanted.size();
    }
    return kNotFound;
}

}  // namespace MIME

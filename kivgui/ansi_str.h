#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "kivgui/export.h"
#include "kivgui/reference.h"

// Strings are handles to shared bodies, so that copying a header field or a boundary copies no
// text. Three invariants hold for every body:
//  1. While its reference count is 2 or more, its characters are not written to.
//  2. Its text is NUL-terminated, and there is always a NUL at `capacity`, so counting ends.
//  3. `length` is the text's length, or 0 while nobody has counted a text that was written through
//     the buffer (Alloc, the buffer constructor); the first reader counts it.
// Copying and destroying a handle are O(1). A change copies the text only when the body is shared
// or too small.

namespace KivGuiBase {

/// A view of characters that somebody else owns. It must not outlive them. Lengths are 32-bit,
/// and the text need not end in NUL.
class AnsiSubStr {
public:
    constexpr AnsiSubStr() noexcept = default;
    constexpr AnsiSubStr(const char* text, unsigned length) noexcept
        : text_(text), length_(length) {}

    /// The first character; not NUL-terminated. Never null.
    constexpr const char* GetStr() const noexcept { return text_ != nullptr ? text_ : ""; }
    constexpr unsigned GetLength() const noexcept { return text_ != nullptr ? length_ : 0; }
    constexpr bool IsEmpty() const noexcept { return GetLength() == 0; }

    constexpr operator std::string_view() const noexcept { return {GetStr(), GetLength()}; }

    friend constexpr bool operator==(const AnsiSubStr& a, const AnsiSubStr& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }

private:
    const char* text_ = nullptr;
    unsigned length_ = 0;
};

/// How much room an append leaves after the text: none, or spare room because more will follow.
enum class Growth { exact, spare };

/// A string of bytes, without a character set: a handle of one pointer to a shared body.
///
/// Copying a handle costs one atomic increment; the text is copied when a shared body is about
/// to be changed. Lengths and positions are unsigned 32-bit. No operation throws: when memory
/// runs out, a changing operation leaves the string as it was and a new string is empty.
/// One handle belongs to one thread at a time; handles to the same body may be used on
/// different threads at once.
class KIV_EXPORT AnsiStr {
public:
    static constexpr unsigned kMaxLength = 0xFFFFFFFF;
    static constexpr unsigned kToEnd = 0xFFFFFFFF;

    /// The shared body. The characters and a NUL follow it in memory.
    struct KIV_EXPORT Imp {
        Reference reference;
        uint32_t capacity;  ///< characters that fit, without the NUL
        /// 0, while the first character is not NUL, means that the text has not been counted yet.
        /// Atomic because two threads may count the same shared body at once.
        std::atomic<uint32_t> length;

        char* GetText() noexcept { return reinterpret_cast<char*>(this + 1); }
        const char* GetText() const noexcept { return reinterpret_cast<const char*>(this + 1); }
        uint32_t GetLength() noexcept {
            const uint32_t known = length.load(std::memory_order_relaxed);
            return known != 0 || *GetText() == '\0' ? known : CountLength();
        }
        uint32_t CountLength() noexcept;

        /// The empty C string that a null handle reads as. The compiler does not see its size;
        /// if it did, it would warn that a host's `GetStr() + 5` might leave the literal "".
        static const char kEmpty[];
        static const char* GetEmpty() noexcept { return kEmpty; }
        /// A new body with a count of 1, the given capacity and cached length, and the first
        /// `srcLength` characters of `src` (none when `src` is null), followed by a NUL.
        /// Null when memory runs out.
        static Imp* Init(uint32_t capacity, uint32_t length, const char* src,
                         uint32_t srcLength) noexcept;
        /// The capacity to allocate for `length` characters; `grow` asks for spare room, half
        /// the length or 32 characters, so that repeated appends cost amortised linear time.
        static uint32_t GetExtendSize(uint32_t length, bool grow) noexcept;
        /// Called when `length` + `added` exceeds 32 bits: sets the last error
        /// kErrorStringOverflow.
        static void ReportOverflow(uint32_t length, uint32_t added) noexcept;
        static void Free(Imp* imp) noexcept;
    };

    AnsiStr() noexcept = default;
    /// Copies a NUL-terminated text; null gives the empty string.
    AnsiStr(const char* text) noexcept;
    /// Copies `count` characters, including NUL characters.
    AnsiStr(const char* text, unsigned count) noexcept;
    AnsiStr(const AnsiSubStr& view) noexcept : AnsiStr(view.GetStr(), view.GetLength()) {}
    /// Copies the view. More than kMaxLength characters give the empty string and the last
    /// error kErrorStringOverflow.
    AnsiStr(std::string_view view) noexcept;
    /// The same for std::string itself, but not for types that convert to it: for those, the other
    /// constructors are still chosen.
    template <std::same_as<std::string> String>
    AnsiStr(const String& text) noexcept : AnsiStr(std::string_view(text)) {}
    /// Room for `n` characters and the NUL, to be written through `buffer`; the text ends at the
    /// first NUL. `buffer` is null, and the string empty, when memory runs out.
    AnsiStr(unsigned n, char*& buffer) noexcept;

    AnsiStr(const AnsiStr& other) noexcept : imp_(other.imp_) {
        if (imp_ != nullptr) imp_->reference.Link();
    }
    AnsiStr(AnsiStr&& other) noexcept : imp_(std::exchange(other.imp_, nullptr)) {}
    ~AnsiStr() { Release(); }
    AnsiStr& operator=(const AnsiStr& other) noexcept {
        AnsiStr(other).Swap(*this);
        return *this;
    }
    AnsiStr& operator=(AnsiStr&& other) noexcept {
        AnsiStr(std::move(other)).Swap(*this);
        return *this;
    }
    AnsiStr& operator=(const char* text) noexcept { return *this = AnsiStr(text); }
    AnsiStr& operator=(const AnsiSubStr& view) noexcept { return *this = AnsiStr(view); }
    AnsiStr& operator=(std::string_view view) noexcept { return *this = AnsiStr(view); }
    template <std::same_as<std::string> String>
    AnsiStr& operator=(const String& text) noexcept {
        return *this = AnsiStr(text);
    }
    void Swap(AnsiStr& other) noexcept { std::swap(imp_, other.imp_); }

    /// The NUL-terminated characters; never null. Valid until the string changes.
    const char* GetStr() const noexcept {
        return imp_ != nullptr ? imp_->GetText() : Imp::GetEmpty();
    }
    unsigned GetLength() const noexcept { return imp_ != nullptr ? imp_->GetLength() : 0; }
    unsigned GetCapacity() const noexcept { return imp_ != nullptr ? imp_->capacity : 0; }
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    /// Valid until the string changes.
    operator std::string_view() const noexcept { return {GetStr(), GetLength()}; }
    /// A copy. Throws std::bad_alloc, as std::string does.
    operator std::string() const { return std::string(std::string_view(*this)); }

    /// The characters, without the NUL. The iterators are valid until the string changes.
    const char* begin() const noexcept { return GetStr(); }
    const char* end() const noexcept { return GetStr() + GetLength(); }

    /// Makes this the sole owner of a body with room for `n` characters, for appending or for
    /// writing through the result. The text is kept.
    /// @return the character buffer; null when memory runs out, the string is then unchanged.
    char* Alloc(unsigned n) noexcept;
    /// Releases spare room; the text does not change.
    void Shrink() noexcept;
    /// Keeps the first `n` characters.
    AnsiStr& Trunc(unsigned n) noexcept;
    /// Appends. If the text would exceed kMaxLength, this is reported and the string is left
    /// unchanged. The view may be a part of this string.
    AnsiStr& Append(std::string_view view, Growth growth = Growth::exact) noexcept;
    AnsiStr& Append(char c, Growth growth = Growth::exact) noexcept {
        return Append(std::string_view(&c, 1), growth);
    }
    AnsiStr& operator+=(std::string_view view) noexcept { return Append(view); }
    AnsiStr& operator+=(const AnsiStr& text) noexcept { return Append(text); }
    template <std::same_as<std::string> String>
    AnsiStr& operator+=(const String& text) noexcept {
        return Append(text);
    }
    AnsiStr& operator+=(const AnsiSubStr& view) noexcept { return Append(view); }
    AnsiStr& operator+=(const char* text) noexcept {
        return text != nullptr ? Append(text) : *this;
    }
    AnsiStr& operator+=(char c) noexcept { return Append(c); }
    /// Inserts one character; a position past the end means the end.
    AnsiStr& Insert(unsigned pos, char c) noexcept;
    /// Removes up to `count` characters at `pos`.
    AnsiStr& Delete(unsigned pos, unsigned count) noexcept;
    /// Makes the ASCII letters lower-case; other bytes do not change.
    AnsiStr& ToLower() noexcept;

    /// Index of the first `c` at or after `start`; kMaxLength when there is none.
    unsigned Find(char c, unsigned start = 0, bool ignoreCase = false) const noexcept;
    /// Index of the last `c` at or before `start` (kToEnd: from the end); kMaxLength when there
    /// is none.
    unsigned FindLast(char c, unsigned start = kToEnd, bool ignoreCase = false) const noexcept;
    /// The first `n` characters.
    AnsiStr Copy(unsigned n) const noexcept { return Copy(0, n); }
    /// `count` characters from `start` (kToEnd: up to the end); empty when `start` is not below
    /// the length.
    AnsiStr Copy(unsigned start, unsigned count) const noexcept;

    /// Compare NUL-terminated texts as strcmp does, bytes as unsigned values. With `ignoreCase`
    /// ASCII letters compare as their lower-case forms, so "_" sorts before letters.
    static int Compare(const char* a, const char* b, bool ignoreCase) noexcept;
    static int NCompare(const char* a, const char* b, unsigned n, bool ignoreCase) noexcept;

    friend bool operator==(const AnsiStr& a, const AnsiStr& b) noexcept {
        return a.imp_ == b.imp_ || std::string_view(a) == std::string_view(b);
    }
    friend bool operator==(const AnsiStr& a, std::string_view b) noexcept {
        return std::string_view(a) == b;
    }
    friend bool operator==(const AnsiStr& a, const AnsiSubStr& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }
    friend bool operator==(const AnsiStr& a, const char* b) noexcept {
        return std::string_view(a) == (b != nullptr ? std::string_view(b) : std::string_view());
    }
    template <std::same_as<std::string> String>
    friend bool operator==(const AnsiStr& a, const String& b) noexcept {
        return std::string_view(a) == b;
    }

    /// Orders by bytes as unsigned values; a text comes after those that it begins with. In contrast
    /// to Compare, a NUL is a character like any other.
    template <std::convertible_to<std::string_view> Text>
    friend std::strong_ordering operator<=>(const AnsiStr& a, const Text& b) noexcept {
        return std::string_view(a) <=> std::string_view(b);
    }
    friend std::strong_ordering operator<=>(const AnsiStr& a, const char* b) noexcept {
        return a <=> (b != nullptr ? std::string_view(b) : std::string_view());
    }

    /// A new string of exactly both lengths. A result that would exceed kMaxLength is empty, with
    /// the last error kErrorStringOverflow.
    friend KIV_EXPORT AnsiStr operator+(const AnsiStr& a, const AnsiStr& b) noexcept;

    friend std::ostream& operator<<(std::ostream& out, const AnsiStr& text) {
        return out << std::string_view(text);
    }

private:
    void Release() noexcept {
        if (imp_ != nullptr && imp_->reference.Unlink()) Imp::Free(imp_);
    }
    /// Replaces the body by `imp`, whose reference becomes this handle's.
    void Adopt(Imp* imp) noexcept {
        Release();
        imp_ = imp;
    }
    bool MakeUnshared() noexcept;

    Imp* imp_ = nullptr;
};

KIV_EXPORT AnsiStr operator+(const AnsiStr& a, const AnsiStr& b) noexcept;

/// The text up to its first NUL: anything after a NUL is never written into a header.
inline std::string_view GetCText(const AnsiStr& text) noexcept {
    return text.GetStr();
}

}  // namespace KivGuiBase

/// Equal texts have the same hash, whatever their type: with std::equal_to<> a container finds an
/// AnsiStr by a std::string_view.
template <>
struct std::hash<KivGuiBase::AnsiStr> {
    using is_transparent = void;
    size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>()(text);
    }
};

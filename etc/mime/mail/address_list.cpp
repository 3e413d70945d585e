#include <algorithm>
#include <cstdint>
#include <utility>

#include "mime/mail/address.h"
#include "mime/mail/address_text.h"
#include "mime/mail/address_tokens.h"
#include "mime/mail/whole.h"

// Reads the tokens of a value entry by entry. An entry ends at a "," or ";" outside angle brackets. In it
// each "<" ... ">" is an address, and what precedes it is its name:
//
//   entry = *([phrase] "<" address ">") rest
//
// Usually there is one. What follows the last bracket, or the whole entry, holds addresses without
// brackets (an "@" between two words), their names before them; or a name that comes after its address;
// or, as all of an entry, one word: an address without a domain.
//
// Words without an address before the "," of an entry with a name belong to that name: people write
// "Doe, John <john@example.org>" without the quotes that it needs.
//
// A bracket that does not end ends with the entry; one with another "<" in it is passed over. Nothing is
// read twice: a search for ">" ends at the next "<", and a failed search for an "@" is not repeated at the
// next dot of the same run.

namespace MIME {

namespace {

using Kind = AddressToken::Kind;

constexpr std::string_view kNoAddress = "has no address";
constexpr std::string_view kEmpty = "has empty angle brackets";
constexpr std::string_view kNoLocalPart = "has no local part";
constexpr std::string_view kNoDomain = "has no domain";
constexpr std::string_view kManyAts = "has more than one \"@\"";
constexpr std::string_view kTooMuch = "has more than an address in angle brackets";
constexpr std::string_view kControls = "has control characters in its address";

bool IsComment(const AddressToken& token) noexcept {
    return token.Is(Kind::comment);
}

/// A token that can be a word of a local part.
bool IsWord(const AddressToken& token) noexcept {
    return token.Is(Kind::atom) || token.Is(Kind::word) || token.Is(Kind::quoted);
}

/// Encoded words are taken as they are in addresses, where they can hold only what atoms can.
bool IsPlain(const AddressToken& token) noexcept {
    return !token.Is(Kind::word) || std::all_of(token.text.begin(), token.text.end(),
                                                [](char c) { return IsAddressAtomByte(c); });
}

/// A walk over tokens that steps over comments.
class TokenWalk {
public:
    explicit TokenWalk(AddressTokens tokens) noexcept : tokens_(tokens) { SkipComments(); }

    bool IsAtEnd() const noexcept { return at_ == tokens_.size(); }
    size_t GetPosition() const noexcept { return at_; }
    bool At(char mark) const noexcept { return !IsAtEnd() && tokens_[at_].Is(mark); }
    bool At(Kind kind) const noexcept { return !IsAtEnd() && tokens_[at_].Is(kind); }
    AddressTokens GetSince(size_t first) const { return tokens_.subspan(first, at_ - first); }

    void Skip() noexcept {
        ++at_;
        SkipComments();
    }

    /// Takes words and dots, up to a word that no dot separates from the word before it.
    template <class IsPart>
    AddressTokens TakeDotted(IsPart isPart) {
        const size_t first = at_;
        bool isAfterWord = false;
        while (!IsAtEnd()) {
            const bool isDot = tokens_[at_].Is('.');
            if (!isDot && (isAfterWord || !isPart(tokens_[at_]))) break;
            isAfterWord = !isDot;
            Skip();
        }
        return GetSince(first);
    }

private:
    void SkipComments() noexcept {
        while (!IsAtEnd() && IsComment(tokens_[at_])) ++at_;
    }

    AddressTokens tokens_;
    size_t at_ = 0;
};

/// A bare address, or why there is none.
struct BareAddress {
    std::string text;
    std::string_view fault;
};

bool HasWord(AddressTokens tokens) noexcept {
    return std::any_of(tokens.begin(), tokens.end(), IsWord);
}

bool HasControls(std::string_view text) noexcept {
    return std::any_of(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7F';
    });
}

BareAddress MakeBareAddress(AddressTokens local, AddressTokens domain) {
    if (local.empty()) return {{}, kNoLocalPart};
    if (!std::all_of(local.begin(), local.end(), IsPlain)) return {{}, kNoAddress};
    if (!std::all_of(domain.begin(), domain.end(), IsPlain)) return {{}, kNoDomain};
    std::string text = MakeLocalPart(local);
    if (!domain.empty()) text.append(1, '@').append(MakeDomain(domain));
    if (HasControls(text)) return {{}, kControls};
    return {std::move(text), {}};
}

/// Takes what follows a local part: "@" and the domain. The domain is empty when there is none.
AddressTokens TakeDomain(TokenWalk& walk) {
    walk.Skip();
    const size_t first = walk.GetPosition();
    if (walk.At(Kind::literal)) {
        walk.Skip();
        return walk.GetSince(first);
    }
    const AddressTokens domain = walk.TakeDotted(
        [](const AddressToken& token) { return IsWord(token) && !token.Is(Kind::quoted); });
    return HasWord(domain) ? domain : AddressTokens();
}

/// Reads what is in angle brackets: [obs-route] address (RFC 5322, 3.4.1 and 4.4).
BareAddress ReadBracketed(AddressTokens tokens) {
    TokenWalk walk(tokens);
    if (walk.IsAtEnd()) return {{}, kEmpty};
    if (walk.At('@') || walk.At(',')) {
        while (!walk.IsAtEnd() && !walk.At(':')) walk.Skip();
        if (walk.IsAtEnd()) return {{}, kNoLocalPart};
        walk.Skip();
    }
    const AddressTokens local = walk.TakeDotted(IsWord);
    AddressTokens domain;
    if (walk.At('@')) {
        domain = TakeDomain(walk);
        if (domain.empty()) return {{}, kNoDomain};
    }
    if (!walk.IsAtEnd()) return {{}, walk.At('@') ? kManyAts : kTooMuch};
    return MakeBareAddress(local, domain);
}

}  // namespace

class AddressListReader {
public:
    explicit AddressListReader(std::string_view value)
        : value_(value), all_(TokenizeAddresses(value)) {}

    AddressList Read() {
        while (at_ < all_.size()) {
            TakeEntry();
            const bool isAtEnd = at_ == all_.size();
            if (!isAtEnd && all_[at_].Is(';')) EndGroup();
            if (!isAtEnd && !all_[at_].Is(',')) looseEntry_ = kNone;
            ++at_;  // past what ends the entry, or begins the group
        }
        EndGroup();
        return std::move(list_);
    }

private:
    AddressTokens Get(size_t first, size_t end) const {
        return AddressTokens(all_).subspan(first, end - first);
    }

    /// Reads up to the delimiter that ends the entry, or to the ":" after the name of a group.
    void TakeEntry() {
        const size_t entry = at_;
        addressesBefore_ = list_.addresses_.size();
        problemsBefore_ = list_.problems_.size();
        addressStart_ = entry;
        const size_t loose = std::exchange(looseEntry_, kNone);
        size_t start = at_;  // of what follows the last bracket
        bool hasWord = false;
        bool hasAddress = false;
        for (; at_ < all_.size() && !all_[at_].Is(',') && !all_[at_].Is(';'); ++at_) {
            const AddressToken& token = all_[at_];
            hasWord = hasWord || IsWord(token);
            hasAddress = hasAddress || token.Is('@');
            if (token.Is(':') && hasWord && !hasAddress) {
                return BeginGroup(MakeDisplayName(Get(entry, at_)));
            }
            if (!token.Is('<')) continue;
            const size_t end = FindBracketEnd();
            if (end == at_) continue;
            TakeBracketed(start, end, start == entry ? loose : kNone);
            hasAddress = true;
            const bool isClosed = end < all_.size() && all_[end].Is('>');
            at_ = isClosed ? end : end - 1;
            start = at_ + 1;
        }
        TakeRest(start);
        NameByComment(at_);
    }

    /// Where the bracket that opens here ends: at its ">", or at the end of the entry. Here, when
    /// another one opens first.
    size_t FindBracketEnd() const noexcept {
        size_t separator = all_.size();
        const auto first =
            std::find_if_not(all_.begin() + static_cast<ptrdiff_t>(at_) + 1, all_.end(), IsComment);
        bool isRoute = first != all_.end() && (first->Is('@') || first->Is(','));
        for (size_t end = at_ + 1; end < all_.size(); ++end) {
            const AddressToken& token = all_[end];
            if (token.Is('>')) return end;
            if (token.Is('<')) return separator < end ? separator : at_;
            if (token.Is(':')) isRoute = false;
            if (!token.Is(',') && !token.Is(';')) continue;
            separator = std::min(separator, end);
            if (token.Is(',') && !isRoute) return separator;
        }
        return separator;
    }

    /// Takes the address in the bracket that opens here and ends at `end`.
    /// @param loose  where the entry before began, if it can be a part of the name.
    void TakeBracketed(size_t start, size_t end, size_t loose) {
        BareAddress bare = ReadBracketed(Get(at_ + 1, end));
        const bool isClosed = end < all_.size() && all_[end].Is('>');
        if (isClosed) ++end;
        if (!bare.fault.empty()) return Report(start, end, bare.fault);
        const bool hasDomain = bare.text.find('@') != std::string::npos;
        if (loose != kNone && hasDomain && HasWord(Get(start, at_))) {
            if (wasLooseWord_) {
                list_.addresses_.pop_back();
                --addressesBefore_;
            } else {
                list_.problems_.pop_back();
                --problemsBefore_;
            }
            start = loose;
        }
        Add(MakeDisplayName(Get(start, at_)), std::move(bare.text), at_, end);
    }

    /// Takes addresses without brackets, or a name after its address, from `start` to here.
    void TakeRest(size_t start) {
        const AddressTokens rest = Get(start, at_);
        size_t nameStart = 0;
        for (TokenWalk walk(rest); !walk.IsAtEnd();) {
            const size_t localStart = walk.GetPosition();
            const AddressTokens local = walk.TakeDotted(IsWord);
            if (!walk.At('@')) {
                if (walk.GetPosition() == localStart) walk.Skip();
                continue;
            }
            const AddressTokens domain = TakeDomain(walk);
            BareAddress bare = MakeBareAddress(local, domain);
            if (bare.fault.empty() && domain.empty()) bare.fault = kNoDomain;
            if (bare.fault.empty() && walk.At('@')) bare.fault = kManyAts;
            if (!bare.fault.empty()) return Report(start, at_, bare.fault);
            Add(MakeDisplayName(rest.subspan(nameStart, localStart - nameStart)),
                std::move(bare.text), start + localStart, start + walk.GetPosition());
            nameStart = walk.GetPosition();
        }
        const AddressTokens name = rest.subspan(nameStart);
        if (HasAddress()) {
            std::string& given = list_.addresses_.back().name_;
            if (given.empty()) given = MakeDisplayName(name);
        } else if (list_.problems_.size() == problemsBefore_) {
            TakeSingleWord(start, name);
        }
    }

    /// Takes an entry without any "@" and bracket: a single word is an address without a domain.
    void TakeSingleWord(size_t start, AddressTokens tokens) {
        if (std::all_of(tokens.begin(), tokens.end(), IsComment)) return;
        TokenWalk walk(tokens);
        const AddressTokens local =
            walk.TakeDotted([](const AddressToken& token) { return token.Is(Kind::atom); });
        if (std::none_of(tokens.begin(), tokens.end(), IsComment)) looseEntry_ = start;
        wasLooseWord_ = walk.IsAtEnd() && HasWord(local);
        if (!wasLooseWord_) return Report(start, at_, kNoAddress);
        Add({}, MakeLocalPart(local), start, at_);
    }

    /// Has the entry given an address so far?
    bool HasAddress() const noexcept { return list_.addresses_.size() > addressesBefore_; }

    /// The last address of the entry, if it has no name, takes the first comment between it and
    /// `limit`, or else the first one in it or before it.
    void NameByComment(size_t limit) {
        if (!HasAddress() || !list_.addresses_.back().name_.empty()) return;
        for (const AddressTokens tokens :
             {Get(std::min(addressEnd_, limit), limit), Get(addressStart_, addressEnd_)}) {
            const auto comment = std::find_if(tokens.begin(), tokens.end(), IsComment);
            if (comment == tokens.end()) continue;
            list_.addresses_.back().name_ = MakeDisplayName(comment->text);
            return;
        }
    }

    /// @param start, end  the tokens of the address; the comments that follow it may be among them.
    void Add(std::string name, std::string address, size_t start, size_t end) {
        NameByComment(start);
        if (HasAddress()) addressStart_ = start;
        list_.addresses_.push_back(Address(std::move(name), std::move(address), group_));
        while (IsComment(all_[end - 1])) --end;
        addressEnd_ = end;
    }

    void Report(size_t first, size_t end, std::string_view why) {
        const char* const begin = all_[first].text.data();
        const std::string_view last = all_[end - 1].text;
        const auto length = static_cast<size_t>(last.data() + last.size() - begin);
        list_.problems_.push_back(
            {std::string(begin, length), static_cast<size_t>(begin - value_.data()), why});
    }

    void BeginGroup(std::string name) {
        EndGroup();
        group_ = std::make_shared<const std::string>(std::move(name));
        list_.groups_.push_back({group_, list_.addresses_.size(), list_.addresses_.size()});
    }

    void EndGroup() {
        if (group_ == nullptr) return;
        list_.groups_.back().end = list_.addresses_.size();
        group_.reset();
    }

    static constexpr size_t kNone = SIZE_MAX;

    std::string_view value_;
    std::vector<AddressToken> all_;
    size_t at_ = 0;
    size_t addressesBefore_ = 0;  ///< of the entry
    size_t problemsBefore_ = 0;
    size_t addressStart_ = 0;    ///< of the last address, or of the entry before its first one
    size_t addressEnd_ = 0;      ///< the token after it
    size_t looseEntry_ = kNone;  ///< where the last entry began, if it was words without an address
    bool wasLooseWord_ = false;  ///< it was taken as an address without a domain, not reported
    std::shared_ptr<const std::string> group_;  ///< the one that is open
    AddressList list_;
};

AddressList AddressList::Parse(std::string_view fieldValue) {
    return Whole([fieldValue] { return AddressListReader(fieldValue).Read(); });
}

}  // namespace MIME

#include <algorithm>

#include "kivgui/utf8.h"
#include "mime/mail/address_text.h"
#include "mime/mail/address_tokens.h"
#include "mime/mail/whole.h"
#include "mime/writing/field_lines.h"
#include "mime/writing/field_text.h"

// The tokens are those of AddressList, which makes the best of any text. Here each entry must have the
// strict form, so that what AddressList would read is what was meant:
//
//   entry = *(atom / "." / encoded word / quoted-string) "<" address ">"  /  address [comment]
//
// Empty entries, as after a last comma, mean nothing and are passed over.

namespace MIME {

namespace {

using Kind = AddressToken::Kind;

class EntryReader {
public:
    EntryReader(std::string_view field, AddressTokens tokens) : field_(field), tokens_(tokens) {}

    Mailbox Read() const {
        RefuseStrayMarks();
        const size_t bracket = Find('<');
        if (bracket == tokens_.size()) {
            const bool hasComment = tokens_.size() > 1 && tokens_.back().Is(Kind::comment);
            const std::string_view comment = hasComment ? tokens_.back().text : "()";
            return {MakeDisplayName(comment),
                    GetAddress(tokens_.first(tokens_.size() - (hasComment ? 1 : 0)))};
        }
        if (Find('>') != tokens_.size() - 1) Fail("has something after its \">\"");
        const AddressTokens name = tokens_.first(bracket);
        if (!std::ranges::all_of(name, IsOfName)) {
            Fail("has a name that must be in quotes, or a comment");
        }
        return {MakeDisplayName(name),
                GetAddress(tokens_.subspan(bracket + 1, tokens_.size() - bracket - 2))};
    }

private:
    [[noreturn]] void Fail(std::string_view why) const {
        const char* const begin = tokens_.front().text.data();
        const std::string_view last = tokens_.back().text;
        const auto size = static_cast<size_t>(last.data() + last.size() - begin);
        FailField(ErrorCode::badAddress, field_, {begin, size}, why);
    }

    size_t Find(char mark) const noexcept {
        const auto found = std::ranges::find_if(
            tokens_, [mark](const AddressToken& token) { return token.Is(mark); });
        return static_cast<size_t>(found - tokens_.begin());
    }
    bool Has(char mark) const noexcept { return Find(mark) != tokens_.size(); }

    void RefuseStrayMarks() const {
        if (Has('"')) Fail("has a quote without its partner");
        if (Has('(') || !std::ranges::all_of(tokens_, IsClosed)) {
            Fail("has a comment that does not end");
        }
        if (Has(':')) Fail("is a group, whose name would be lost");
        if (Has(';')) Fail("has a \";\", which does not separate addresses");
        const auto count = [this](char mark) {
            return std::ranges::count_if(tokens_, [mark](auto& token) { return token.Is(mark); });
        };
        if (count('<') != count('>') || count('<') > 1 || Find('>') < Find('<')) {
            Fail("has angle brackets that do not pair up");
        }
        if (!Has('@')) Fail("is not a mail address; a name with a comma must be in quotes");
    }

    /// Has the comment, if the token is one, its last parenthesis?
    static bool IsClosed(const AddressToken& token) noexcept {
        if (!token.Is(Kind::comment)) return true;
        size_t depth = 0;
        for (size_t at = 0; at < token.text.size(); ++at) {
            const char c = token.text[at];
            if (c == '\\') ++at;
            if (c == '(') ++depth;
            if (c == ')') --depth;
        }
        return depth == 0;
    }

    static bool IsOfName(const AddressToken& token) noexcept {
        return token.Is(Kind::atom) || token.Is(Kind::word) || token.Is(Kind::quoted) ||
               token.Is('.');
    }

    /// The text of tokens in a row. What is not an address is found later.
    std::string GetAddress(AddressTokens tokens) const {
        std::string address;
        for (const AddressToken& token : tokens) {
            const bool isApart = token.isSpaced && !address.empty();
            if (isApart || token.Is(Kind::comment)) Fail("has more than an address");
            address += token.text;
        }
        return address;
    }

    std::string_view field_;
    AddressTokens tokens_;
};

}  // namespace

std::vector<Mailbox> ReadMailboxes(std::string_view field, std::string_view list) {
    if (HasControls(list)) FailField(ErrorCode::badAddress, field, "has control characters");
    if (!KivGuiBase::IsUtf8(list)) FailField(ErrorCode::badAddress, field, "is not UTF-8");
    const std::vector<AddressToken> tokens = TokenizeAddresses(list);
    std::vector<Mailbox> mailboxes;
    for (AddressTokens rest(tokens); !rest.empty();) {
        const auto comma =
            std::ranges::find_if(rest, [](const AddressToken& token) { return token.Is(','); });
        const auto size = static_cast<size_t>(comma - rest.begin());
        if (size != 0) {
            const EntryReader entry(field, rest.first(size));
            mailboxes.push_back(Whole([&] { return entry.Read(); }));
            CheckMailbox(field, mailboxes.back());
        }
        rest = rest.subspan(std::min(size + 1, rest.size()));
    }
    if (mailboxes.empty()) FailField(ErrorCode::badAddress, field, "has no address");
    return mailboxes;
}

}  // namespace MIME

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mime/mail/message_tree.h"
#include "mime/writing/outline.h"

namespace MIME {

/// How the lines of a text end: "\r\n" or "\n", as the first one does; "\r\n" where it has one line.
std::string_view FindLineEnd(std::string_view text) noexcept;

/// A text with some of its ranges replaced. All else is passed on as it is.
class SplicedText {
public:
    /// The text of a mail, which must live as long.
    explicit SplicedText(const MessageTree& source) noexcept
        : tree_(source), source_(source.text) {}

    /// Replaces a range, which may be empty. Ranges do not overlap; where several begin at one place,
    /// the empty ones come first, in the order of the calls.
    void Replace(uint64_t begin, uint64_t end, NewText with);
    void Replace(uint64_t begin, uint64_t end, std::string with) {
        Replace(begin, end, NewText(std::move(with)));
    }

    /// To be called once, after the last Replace and before what follows.
    void Sort();
    /// Passes the text on from an offset, which must be in no replaced range.
    void Write(uint64_t from, const Take& take) const;
    void WriteOutline(uint64_t from, Outline& outline) const;

private:
    struct Splice {
        uint64_t begin;
        uint64_t end;
        NewText with;
    };

    template <class Copy, class Put>
    void Walk(uint64_t from, Copy copy, Put put) const;

    const MessageTree& tree_;
    std::string_view source_;
    std::vector<Splice> splices_;
};

}  // namespace MIME

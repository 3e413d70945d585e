#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/message_tree.h"
#include "mime/writing/body_source.h"
#include "mime/writing/target.h"

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
    void Replace(uint64_t begin, uint64_t end, Writing with);
    void Replace(uint64_t begin, uint64_t end, std::string with);

    /// To be called once, after the last Replace and before the first Write.
    void Sort();
    /// Passes the text on from an offset, which must be in no replaced range.
    void Write(uint64_t from, const Take& take) const;

private:
    struct Splice {
        uint64_t begin;
        uint64_t end;
        Writing with;
    };

    const MessageTree& tree_;
    std::string_view source_;
    std::vector<Splice> splices_;
};

}  // namespace MIME

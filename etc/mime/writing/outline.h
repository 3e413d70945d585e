#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mime/mail/message_tree.h"
#include "mime/writing/target.h"

namespace MIME {

/// Text that an edit adds to a mail.
struct NewText {
    enum class Role {
        markup,  ///< boundary lines and whatever else belongs to no entity alone
        header,  ///< of the owner's header block
        body,    ///< of the owner's body
        part,    ///< a whole new entity
    };

    /// A text that is written as it is.
    explicit NewText(std::string text, Role textRole = Role::markup,
                     uint32_t textOwner = EntityPlace::kNone)
        : write([text](const Take& take) { take(text); }),
          outline(std::move(text)),
          role(textRole),
          owner(textOwner) {}
    /// A text that is made when it is written.
    NewText(Writing writing, std::string standIn, Role textRole,
            uint32_t textOwner = EntityPlace::kNone)
        : write(std::move(writing)),
          outline(std::move(standIn)),
          role(textRole),
          owner(textOwner) {}

    Writing write;
    std::string outline;  ///< stands for the text in an Outline
    Role role;
    uint32_t owner;  ///< the index of an entity
};

/// The text of an edited mail, shortened to what decides how it is read: of the inside of long bodies only the
/// lines that begin with "--", of which some may be boundary lines, and for new bodies short ones. Knows where
/// each stretch of it came from. Takes little memory for mails of any size.
class Outline {
public:
    explicit Outline(const MessageTree& source) noexcept
        : tree_(source), source_(source.text), passed_(source.Pass(source.text.data())) {}

    /// A range of the source comes next. Ranges come in the order of the source.
    void Copy(uint64_t begin, uint64_t end);
    void Put(const NewText& added);

    const std::string& GetText() const noexcept { return text_; }

    /// New text in the outline.
    struct Added {
        uint64_t begin;
        uint64_t end;
        NewText::Role role;
        uint32_t owner;
    };
    /// All but markup, in the order of the text.
    const std::vector<Added>& GetAdded() const noexcept { return added_; }

    /// Is as much of the source before `place` as there is before `sourcePlace` in the source? New text at
    /// that place may be on either side.
    bool IsAt(uint64_t place, uint64_t sourcePlace) const noexcept;

private:
    /// A stretch of the source.
    struct Stretch {
        uint64_t at;      ///< in the outline
        uint64_t source;  ///< in the source
        uint64_t before;  ///< bytes of the source in the outline before it
        uint64_t size;
    };

    std::pair<uint64_t, uint64_t> FindInside(const EntityPlace& place) const noexcept;
    void Keep(uint64_t begin, uint64_t end);
    void KeepDashes(uint64_t begin, uint64_t end);
    template <class GetPlace>
    uint64_t CountBefore(uint64_t place, GetPlace getPlace) const noexcept;

    const MessageTree& tree_;
    std::string_view source_;
    PassedPages passed_;
    std::string text_;
    std::vector<Stretch> stretches_;
    std::vector<Added> added_;
    uint64_t kept_ = 0;      ///< bytes of the source in the outline
    uint32_t nextBody_ = 0;  ///< entities before it end before the range that comes next
};

}  // namespace MIME

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kivgui/export.h"
#include "mime/mail/address.h"
#include "mime/mail/date.h"
#include "mime/mail/mail_folder.h"
#include "mime/mail/result.h"
#include "mime/mail/sink.h"
#include "mime/mail/text_charset.h"
#include "mime/read_options.h"

/// Reading mail; see mime/mail.h.
///
/// A mail is its text and the places of its entities in it. Reading decodes no body and makes no
/// file; bodies are decoded when they are asked for, and not kept. The rules are the mail rules
/// (docs/mail.md).
///
/// All returned texts are UTF-8. Only std::bad_alloc is thrown, where there is not enough memory
/// for a whole result. Any number of threads may use the same Mail.
namespace MIME {

struct MessageTree;
class Mail;
class EntityRange;

/// A range of the text, in bytes from its start.
struct Range {
    uint64_t offset = 0;
    uint64_t size = 0;
    friend bool operator==(const Range&, const Range&) noexcept = default;
};

/// Converts HTML to text, both in UTF-8; see HtmlToText in mime/html.h.
using HtmlConverter = std::string (*)(std::string_view html);

/// A parameter of a field, decoded (RFC 2045, 5.1; RFC 2231). The value is empty where there was no "=".
struct Parameter {
    std::string name;
    std::string value;
};

/// A header field as it is in the text.
struct KIV_EXPORT Field {
    std::string_view name;  ///< as written; names are compared without regard to case
    std::string_view raw;   ///< the value with its folds, without white space around it

    /// The field value unfolded, with its encoded words decoded (RFC 2047), without line ends.
    /// Bytes that are not UTF-8 are read in the charset `how.fallback`. In address fields the
    /// encoded words of names and comments are decoded; use AddressList to read such fields.
    std::string GetText(const TextCharset& how = {}) const;

    /// @name The value and parameters of Content-Type, Content-Disposition and Content-Transfer-Encoding
    /// Any other field has no parameters, and its text is the value.
    /// @{
    std::string GetValue(const TextCharset& how = {}) const;
    /// Sorted by name, each name once.
    std::vector<Parameter> GetParameters(const TextCharset& how = {}) const;
    /// @}
};

/// One entity of a Mail: the message itself, a multipart, a body, a carried message (a message
/// inside another one), or a uuencoded file in a text.
///
/// A light view, to be passed by value. It is valid as long as its Mail lives, even when the Mail
/// is moved.
class KIV_EXPORT Entity {
public:
    // ---- what it is

    /// The media type in lower case, such as "text/plain". An entity without a Content-Type field
    /// is text/plain, or message/rfc822 in a digest (RFC 2045, 5.2; RFC 2046, 5.1.5).
    std::string GetMediaType() const;
    /// Compares the media type, case ignored; "text/*" matches all subtypes of text.
    bool IsType(std::string_view type) const;
    /// It has children: it is a multipart, or carries a message.
    bool HasChildren() const noexcept;
    /// Its only child is the message that it carries (message/rfc822; RFC 2046, 5.2.1).
    bool CarriesMessage() const noexcept;

    /// The disposition in lower case: "attachment", "inline"; empty without the field (RFC 2183).
    std::string GetDisposition() const;
    /// It is a file in the lines of a text/plain body, as written by programs before MIME (POSIX,
    /// uuencode). Its parent is that text. It has no fields, the media type of its extension, and
    /// the disposition "attachment".
    bool IsUuencoded() const noexcept;

    /// Returns true for an entity to save rather than to read with the message: its disposition is
    /// "attachment", it is a child with a file name, it is neither text/plain nor text/html, or it
    /// is a uuencoded file. Never true for a multipart. See docs/mail-reading.md.
    bool IsAttachment() const;

    /// The file name that the sender gave, decoded: the parameter "filename" of Content-Disposition,
    /// or else "name" of Content-Type; empty when there is none. Not safe to use as a path.
    std::string GetFileName() const;
    /// A file name that is safe on every system: the sender's name, changed only where necessary,
    /// or a name made from the index path and the type, such as "part-2.1.png". At most 240 bytes;
    /// never empty.
    std::string GetSafeFileName() const;
    /// Returns true if the file name ends in "." and `extension`, case ignored.
    bool HasExtension(std::string_view extension) const;

    std::string GetCharset() const;    ///< as the sender wrote it; empty when missing
    std::string GetContentId() const;  ///< without the angle brackets (RFC 2045, 7)
    /// A parameter of Content-Type or Content-Disposition, decoded (RFC 2231); empty when missing.
    std::string GetParameter(std::string_view field, std::string_view parameter) const;

    // ---- its fields

    /// All fields, in order, including repeated ones.
    std::vector<Field> GetFields() const;
    /// The first field of that name, case ignored.
    std::optional<Field> FindField(std::string_view name) const;
    /// The text of the first field of that name; empty when there is none.
    std::string GetField(std::string_view name) const;

    // ---- its body

    /// The body without its transfer encoding; for a multipart, its text as it is.
    std::string Decode() const;
    /// The same, into the host's memory. @return the number of bytes; tooMuchContent when they do
    /// not fit.
    Result<size_t> DecodeInto(std::span<char> memory) const;
    /// The same, in pieces and in bounded memory. @return refused when the sink stopped it.
    Result<void> DecodeTo(const Sink& sink) const;
    /// How many bytes Decode returns. They are counted without memory for them.
    uint64_t GetDecodedSize() const;
    /// The decoded body as UTF-8, with the charset of the entity; line ends as they are.
    std::string GetText() const;
    /// The same for people to read, with LF line ends: uuencoded files are left out, flowed lines
    /// are joined (RFC 3676), and HTML is converted by `toText`, if given. Unless it is empty, it
    /// ends in a line end.
    std::string GetReadableText(HtmlConverter toText = nullptr) const;
    /// The uuencoded files in this text, in order; none unless it is text/plain. The first question
    /// about uuencoded files decodes and searches all texts of the message.
    std::vector<Entity> GetUuencodedFiles() const;
    /// The bodies that form the text of the message whose top this is, in order: see Mail::GetText.
    std::vector<Entity> GetTextEntities() const;

    /// Writes the result of Decode to a file, which is created or replaced.
    Result<void> SaveAs(const std::filesystem::path& path) const;
    /// Writes it to a new file in `folder`, which must exist. The file has the name that
    /// GetSafeFileName returns, with a number when that name is taken, even by a link. Only its
    /// owner can access it, and nothing is ever overwritten. @return its path. A failure leaves no
    /// file.
    Result<std::filesystem::path> SaveInto(const std::filesystem::path& folder) const;

    // ---- its place

    /// Returns true if its ranges are places in Mail::GetSource; false inside a carried message
    /// that is in a transfer encoding, and for a uuencoded file in such a body. There the ranges
    /// are offsets in the decoded message or body, and GetRaw returns a part of it.
    bool IsInSource() const noexcept;
    Range GetRange() const noexcept;  ///< the whole entity, as covered by a signature
    /// Its fields, without the empty line; of a uuencoded file, the line "begin".
    Range GetHeaderRange() const noexcept;
    Range GetBodyRange() const noexcept;  ///< encoded; of a multipart, with all children
    /// @name The text of these ranges, valid as long as the Mail
    /// @{
    std::string_view GetRaw() const noexcept;
    std::string_view GetRawHeader() const noexcept;
    std::string_view GetRawBody() const noexcept;
    /// @}

    /// "" is the top, "2.1" the first child of its second child (the numbers of RFC 9051, 6.4.5,
    /// except that a carried message counts as a child), "2.u1" the first uuencoded file in its
    /// second child.
    std::string GetPath() const;
    EntityRange GetChildren() const noexcept;  ///< in order; without the uuencoded files
    /// The entity itself and everything inside it, each entity before its children.
    EntityRange GetEntities() const noexcept;
    std::optional<Entity> GetParent() const noexcept;  ///< nothing for the top
    /// For multipart/related, the child that "start" names, with or without angle brackets, or else
    /// the first child (RFC 2387, 3.2); for anything else, the entity itself.
    Entity GetRoot() const;

    friend bool operator==(const Entity&, const Entity&) noexcept = default;

private:
    friend class EditedMail;
    friend class Mail;
    friend class EntityRange;
    friend class TextChoice;
    friend class UuencodedFiles;

    Entity(const MessageTree& tree, uint32_t index) noexcept : tree_(&tree), index_(index) {}
    std::string DecodeWithoutFiles() const;
    std::optional<Entity> FindStep(std::string_view step) const;

    const MessageTree* tree_;
    uint32_t index_;
};

/// Entities, for range-for and the algorithms of the standard library.
class KIV_EXPORT EntityRange {
public:
    /// An input iterator, valid as long as the Mail.
    class KIV_EXPORT Iterator {
    public:
        using iterator_category = std::input_iterator_tag;  // it hands out values
        using value_type = Entity;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entity*;
        using reference = Entity;

        Entity operator*() const noexcept { return Entity(*tree_, index_); }
        Iterator& operator++() noexcept;
        Iterator operator++(int) noexcept {
            Iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
            return a.index_ == b.index_;
        }

    private:
        friend class EntityRange;
        Iterator(const MessageTree* tree, uint32_t index, bool isDeep) noexcept
            : tree_(tree), index_(index), isDeep_(isDeep) {}

        const MessageTree* tree_;
        uint32_t index_;
        bool isDeep_;
    };

    Iterator begin() const noexcept { return {tree_, begin_, isDeep_}; }
    Iterator end() const noexcept { return {tree_, end_, isDeep_}; }
    bool empty() const noexcept { return begin_ == end_; }
    size_t size() const noexcept;

private:
    friend class Entity;
    EntityRange(const MessageTree* tree, uint32_t begin, uint32_t end, bool isDeep) noexcept
        : tree_(tree), begin_(begin), end_(end), isDeep_(isDeep) {}

    const MessageTree* tree_;
    uint32_t begin_;
    uint32_t end_;
    bool isDeep_;  ///< all entities, not only children
};

/// Options for reading a mail by the mail rules.
///
///   Mail::Open(path, {.contentType = "multipart/form-data; boundary=cut"})
struct MailOptions {
    /// Only the limits are used; the rules and the options for bodies and files have no effect. The
    /// size of a body is limited when it is decoded, by the host's memory or sink.
    ReadOptions limits = ReadOptions::Mail();
    /// Null, or receives all deviations; bodies are then decoded once, only for the report.
    ReadReport* report = nullptr;
    /// The value of a Content-Type field that arrived separately from the text, as in HTTP: the
    /// text then begins with the body.
    std::optional<std::string> contentType = {};
    TextCharset charset = {};  ///< for text whose charset is missing or unknown
};

/// A message. It owns its text or refers to the host's. It can be moved, but not copied.
class KIV_EXPORT Mail {
public:
    /// Reads a file. A file of 4 MiB or more is mapped, and must not be made shorter while the Mail
    /// lives.
    static Result<Mail> Open(const std::filesystem::path& path, const MailOptions& options = {});

    /// @name Reads a text
    /// @return past a limit: tooDeep, tooManyParts, tooManyFields, headerTooLong or, for encoded
    ///         messages inside it, tooMuchContent, with the place; noMessage for a header field of
    ///         4 GiB. Any other text is a message.
    /// @{
    /// The host must keep `text` as long as the Mail lives.
    static Result<Mail> Parse(std::string_view text, const MailOptions& options = {});
    static Result<Mail> Parse(const char* text, const MailOptions& options = {}) {
        return Parse(std::string_view(text), options);
    }
    /// The Mail keeps the text.
    static Result<Mail> Parse(std::string&& text, const MailOptions& options = {});
    /// A message of a MailFolder, whose file the Mail keeps. In an mbox, ">From " is unquoted if
    /// the message has it; offsets are then those of the unquoted text. Errors name the file.
    static Result<Mail> Parse(const FolderEntry& entry, const MailOptions& options = {});
    /// With a Content-Type value that arrived separately from the text.
    static Result<Mail> Parse(std::string_view text, std::string_view contentType);
    /// @}

    Mail(Mail&&) noexcept;
    Mail& operator=(Mail&&) noexcept;
    ~Mail();

    /// Decoded; empty when there is none.
    std::string GetSubject() const { return GetTop().GetField("Subject"); }
    /// @name Addresses from all fields of that name
    /// @{
    AddressList GetFrom() const { return GetAddresses("From"); }
    AddressList GetSender() const { return GetAddresses("Sender"); }
    AddressList GetReplyTo() const { return GetAddresses("Reply-To"); }
    AddressList GetTo() const { return GetAddresses("To"); }
    AddressList GetCc() const { return GetAddresses("Cc"); }
    AddressList GetBcc() const { return GetAddresses("Bcc"); }
    AddressList GetAddresses(std::string_view field) const;  ///< of any field, case ignored
    /// @}
    std::optional<Date> GetDate() const;  ///< none when the field is missing or not a date
    /// @name Identifiers, without their angle brackets (RFC 5322, 3.6.4)
    /// @{
    std::string GetMessageId() const;
    std::vector<std::string> GetInReplyTo() const;
    std::vector<std::string> GetReferences() const;
    /// @}

    /// The text of the message for people to read, in UTF-8 with LF line ends: the plain text with
    /// its flowed lines joined (RFC 3676). If there is none, or it is blank, the HTML is used,
    /// converted by `toText` if given. One of several alternatives is chosen (RFC 2046, 5.1.4);
    /// consecutive texts are joined. Attachments and carried messages are left out.
    ///
    ///   mail->GetText(MIME::HtmlToText)   // needs <mime/html.h>
    std::string GetText(HtmlConverter toText = nullptr) const;
    /// The HTML of the message in UTF-8; empty when it has none.
    std::string GetHtml() const;

    /// The entities for which IsAttachment is true. Carried messages are attachments as a whole;
    /// nothing inside them is included. Of uuencoded files, the first 1,000 in the message are
    /// included.
    std::vector<Entity> GetAttachments() const;
    Entity GetTop() const noexcept;  ///< the message itself, with its header fields
    /// All entities, the top first, each before its children; uuencoded files are not included.
    EntityRange GetEntities() const noexcept { return GetTop().GetEntities(); }

    /// @name Finds an entity
    /// @{
    /// By its Content-ID, with or without angle brackets, or a URL "cid:..." (RFC 2392).
    std::optional<Entity> FindById(std::string_view id) const;
    /// By its index path: "", "2.1" or "2.u1".
    std::optional<Entity> FindByPath(std::string_view path) const;
    /// By its decoded file name, byte for byte.
    std::optional<Entity> FindByFileName(std::string_view name) const;
    /// @}

    std::string_view GetSource() const noexcept;  ///< the text

private:
    explicit Mail(std::unique_ptr<MessageTree> tree) noexcept;
    static Result<Mail> Read(std::unique_ptr<MessageTree> tree, const MailOptions& options);

    std::unique_ptr<MessageTree> tree_;
};

}  // namespace MIME

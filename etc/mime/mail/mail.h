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
/// A mail is its text and the places of its entities in it. Reading decodes no body and makes no file;
/// what is asked for is decoded then, and not kept. The rules are the mail rules (docs/mail.md).
///
/// All texts that are handed out are UTF-8. Nothing is thrown but std::bad_alloc, where there is not
/// enough memory for a whole result. Any number of threads may look at the same Mail.
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

/// Makes text of HTML, both in UTF-8; see HtmlToText in mime/html.h.
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

    /// The value unfolded, its encoded words decoded (RFC 2047), without line ends. Bytes that are not
    /// UTF-8 are read in the charset `how.fallback`. In address fields the words of names and comments
    /// are decoded; AddressList reads them whole.
    std::string GetText(const TextCharset& how = {}) const;

    /// @name Content-Type, Content-Disposition and Content-Transfer-Encoding taken apart
    /// Any other field has no parameters, and its text is the value.
    /// @{
    std::string GetValue(const TextCharset& how = {}) const;
    /// Sorted by name, each name once.
    std::vector<Parameter> GetParameters(const TextCharset& how = {}) const;
    /// @}
};

/// One entity of a Mail: the message itself, a multipart, a body, a message that another one carries, or a
/// uuencoded file in a text.
///
/// A light view, to be passed by value. It is valid as long as its Mail lives, even when that is moved.
class KIV_EXPORT Entity {
public:
    // ---- what it is

    /// The media type in lower case: "text/plain", which is also that of an entity without a
    /// Content-Type field, but for a message in a digest (RFC 2045, 5.2; RFC 2046, 5.1.5).
    std::string GetMediaType() const;
    /// Compares the media type, case ignored; "text/*" is true for all of a type.
    bool IsType(std::string_view type) const;
    /// It has children: it is a multipart, or carries a message.
    bool HasChildren() const noexcept;
    /// Its one child is the message that it carries (message/rfc822; RFC 2046, 5.2.1).
    bool CarriesMessage() const noexcept;

    /// The disposition in lower case: "attachment", "inline"; empty without the field (RFC 2183).
    std::string GetDisposition() const;
    /// It is a file in lines of text/plain, as programs wrote them before MIME (POSIX, uuencode). Its
    /// parent is that text. It has no fields, the media type of its extension, and the disposition
    /// "attachment".
    bool IsUuencoded() const noexcept;

    /// Is it something to save, rather than to read with the message: its disposition is "attachment",
    /// or it is a child with a file name, or neither text/plain nor text/html, or a uuencoded file? Never a
    /// multipart. See docs/mail-reading.md.
    bool IsAttachment() const;

    /// The file name that the sender gave, decoded: the parameter "filename" of Content-Disposition,
    /// or else "name" of Content-Type; empty when there is none. Not safe to use as a path.
    std::string GetFileName() const;
    /// A name for a file, safe on every system: the sender's, changed as far as it must be, or one made
    /// of the index path and the type, such as "part-2.1.png". At most 240 bytes; never empty.
    std::string GetSafeFileName() const;
    /// Does the file name end in "." and `extension`, case ignored?
    bool HasExtension(std::string_view extension) const;

    std::string GetCharset() const;    ///< as the sender wrote it; empty when missing
    std::string GetContentId() const;  ///< without the angle brackets (RFC 2045, 7)
    /// A parameter of Content-Type or Content-Disposition, decoded (RFC 2231); empty when missing.
    std::string GetParameter(std::string_view field, std::string_view parameter) const;

    // ---- its fields

    /// All fields, in order, repeated ones included.
    std::vector<Field> GetFields() const;
    /// The first field of that name, case ignored.
    std::optional<Field> FindField(std::string_view name) const;
    /// The text of the first field of that name; empty when there is none.
    std::string GetField(std::string_view name) const;

    // ---- its body

    /// The body without its transfer encoding; of a multipart, its text as it is.
    std::string Decode() const;
    /// The same into memory of the host. @return how many bytes; tooMuchContent when they do not fit.
    Result<size_t> DecodeInto(std::span<char> memory) const;
    /// The same in pieces, in bounded memory. @return refused when the sink stopped it.
    Result<void> DecodeTo(const Sink& sink) const;
    /// How many bytes Decode gives. They are counted, without memory for them.
    uint64_t GetDecodedSize() const;
    /// The decoded body as UTF-8, with the charset of the entity; line ends as they are.
    std::string GetText() const;
    /// The same for people to read, with LF line ends: without the uuencoded files, flowed lines joined
    /// (RFC 3676), and HTML as `toText` makes it, if there is one. Not empty without a line end at its
    /// end.
    std::string GetReadableText(HtmlConverter toText = nullptr) const;
    /// The uuencoded files in this text, in order; none of anything but text/plain. The first question
    /// for one decodes and searches all texts of the message.
    std::vector<Entity> GetUuencodedFiles() const;
    /// The bodies that are the text of the message whose top this is, in order: see Mail::GetText.
    std::vector<Entity> GetTextEntities() const;

    /// Writes what Decode gives to a file, which is made, or replaced.
    Result<void> SaveAs(const std::filesystem::path& path) const;
    /// Writes it into a new file in `folder`, which must be there: named by GetSafeFileName, with a
    /// number when that name is taken, even by a link. The file is its owner's alone, and nothing is
    /// ever overwritten. @return its path. A failure leaves no file.
    Result<std::filesystem::path> SaveInto(const std::filesystem::path& folder) const;

    // ---- its place

    /// Are its ranges those of Mail::GetSource? Not inside a carried message that is in a transfer
    /// encoding, nor for a uuencoded file in such a body: those ranges are offsets in the decoded message
    /// or body, and GetRaw is cut out of that.
    bool IsInSource() const noexcept;
    Range GetRange() const noexcept;  ///< the whole entity, as a signature covers it
    /// Its fields, without the empty line; of a uuencoded file, the line "begin".
    Range GetHeaderRange() const noexcept;
    Range GetBodyRange() const noexcept;  ///< encoded, or with all children
    /// @name The text of these ranges, valid as long as the Mail
    /// @{
    std::string_view GetRaw() const noexcept;
    std::string_view GetRawHeader() const noexcept;
    std::string_view GetRawBody() const noexcept;
    /// @}

    /// "" is the top, "2.1" the first child of its second (the numbers of RFC 9051, 6.4.5, but for
    /// carried messages, which count as a child), "2.u1" the first uuencoded file in its second child.
    std::string GetPath() const;
    EntityRange GetChildren() const noexcept;  ///< in order; without the uuencoded files
    /// The entity itself and all that is inside it, each before its children.
    EntityRange GetEntities() const noexcept;
    std::optional<Entity> GetParent() const noexcept;  ///< nothing for the top
    /// Of multipart/related, the child that "start" names, with or without angle brackets, or else the
    /// first (RFC 2387, 3.2); of anything else, the entity itself.
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

/// Entities to walk over with range-for, or with the algorithms of the standard library.
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
    bool isDeep_;  ///< all entities, not children alone
};

/// How a mail is read, beside the mail rules.
///
///   Mail::Open(path, {.contentType = "multipart/form-data; boundary=cut"})
struct MailOptions {
    /// Its limits count; what it says of rules, bodies and files does not. A body is limited when it
    /// is decoded, by what the host gives it.
    ReadOptions limits = ReadOptions::Mail();
    /// Null, or what receives all deviations; bodies are then decoded once, for the report alone.
    ReadReport* report = nullptr;
    /// The value of a Content-Type field that came apart from the text, as with HTTP: the text then
    /// begins with the body.
    std::optional<std::string> contentType = {};
    TextCharset charset = {};  ///< how text is read whose charset is missing or unknown
};

/// A message. Owns its text, or refers to that of the host. To be moved, not copied.
class KIV_EXPORT Mail {
public:
    /// Reads a file. One of 4 MiB or more is mapped, and must not be made shorter while the Mail lives.
    static Result<Mail> Open(const std::filesystem::path& path, const MailOptions& options = {});

    /// @name Reads a text
    /// @return tooDeep, tooManyParts, tooManyFields, headerTooLong or, for encoded messages inside it,
    ///         tooMuchContent past a limit, with the place; else noMessage, for a header field of
    ///         4 GiB. Any other text is a message.
    /// @{
    /// The host keeps `text` as long as the Mail lives.
    static Result<Mail> Parse(std::string_view text, const MailOptions& options = {});
    static Result<Mail> Parse(const char* text, const MailOptions& options = {}) {
        return Parse(std::string_view(text), options);
    }
    /// The Mail keeps the text.
    static Result<Mail> Parse(std::string&& text, const MailOptions& options = {});
    /// A message of a MailFolder, whose file the Mail keeps. In an mbox, ">From " is unquoted where the
    /// message has it; offsets are then those of the unquoted text. Errors name the file.
    static Result<Mail> Parse(const FolderEntry& entry, const MailOptions& options = {});
    /// With a Content-Type value that came apart from the text.
    static Result<Mail> Parse(std::string_view text, std::string_view contentType);
    /// @}

    Mail(Mail&&) noexcept;
    Mail& operator=(Mail&&) noexcept;
    ~Mail();

    /// Decoded; empty when there is none.
    std::string GetSubject() const { return GetTop().GetField("Subject"); }
    /// @name Addresses, those of all fields of each name
    /// @{
    AddressList GetFrom() const { return GetAddresses("From"); }
    AddressList GetSender() const { return GetAddresses("Sender"); }
    AddressList GetReplyTo() const { return GetAddresses("Reply-To"); }
    AddressList GetTo() const { return GetAddresses("To"); }
    AddressList GetCc() const { return GetAddresses("Cc"); }
    AddressList GetBcc() const { return GetAddresses("Bcc"); }
    AddressList GetAddresses(std::string_view field) const;  ///< of any field, case ignored
    /// @}
    std::optional<Date> GetDate() const;  ///< none when the field is missing or is no date
    /// @name Identifiers, without their angle brackets (RFC 5322, 3.6.4)
    /// @{
    std::string GetMessageId() const;
    std::vector<std::string> GetInReplyTo() const;
    std::vector<std::string> GetReferences() const;
    /// @}

    /// The text of the message for people to read, in UTF-8 with LF line ends: the plain text, its
    /// flowed lines joined (RFC 3676); where there is none, or it is blank, what `toText` makes of the
    /// HTML, or without it the HTML itself. Of alternatives one is chosen (RFC 2046, 5.1.4); texts one
    /// after another are joined. Attachments and carried messages are left out.
    ///
    ///   mail->GetText(MIME::HtmlToText)   // needs <mime/html.h>
    std::string GetText(HtmlConverter toText = nullptr) const;
    /// The HTML of the message in UTF-8; empty when it has none.
    std::string GetHtml() const;

    /// What IsAttachment says yes to, outside carried messages, which are attachments as a whole; of
    /// uuencoded files the first 1,000 in the message.
    std::vector<Entity> GetAttachments() const;
    Entity GetTop() const noexcept;  ///< the message itself, with its header fields
    /// All entities, the top first, each before its children; uuencoded files are not among them.
    EntityRange GetEntities() const noexcept { return GetTop().GetEntities(); }

    /// @name Looks for an entity
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

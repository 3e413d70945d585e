#pragma once

#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/blob.h"
#include "kivgui/export.h"
#include "kivgui/file.h"
#include "kivgui/memory.h"
#include "kivgui/memory_file.h"
#include "kivgui/shared_array.h"
#include "kivgui/skip_list_map.h"
#include "mime/decoding.h"
#include "mime/mail/result.h"
#include "mime/mail/sink.h"
#include "mime/read_options.h"
#include "mime/writing/write_options.h"

/// KIVMIME: reads Internet messages into a tree of entities, builds such trees, and writes them
/// back.
///
/// The tree. A message is a tree of `Part`: each has header fields (`headers`), a summary of them
/// (`info`) and either children (`parts`) or a body (`data`). These members are public, and hosts
/// read and write them directly.
///
///   MIME::Part message;
///   MIME::AnsiStr error;
///   if (!message.Read(text, size, error)) Report(error);
///   for (const MIME::Part* part : message.parts) {
///       Use(part->info.contentType.GetStr(), part->data.file.GetPath());
///   }
///
/// Text is bytes; only `Decoding` (decoding.h) converts charsets. Output lines end in CR LF, and on
/// input only CR LF ends a line. Names of header fields and parameters are compared without regard
/// to ASCII case. These are the exact rules; for real mail there are the mail rules:
///
///   message.Read(text, size, error, MIME::ReadOptions::Mail());
///
/// Failure is reported by a `bool` or an empty text; nothing is thrown. File operations leave the
/// reason in the calling thread's last error (`KivGuiBase::GetLastError`, kivgui/error.h).
///
/// Threads. A tree belongs to one thread at a time; different trees may be used at the same time.
/// The encoders and the vocabulary are pure functions.
///
/// This header includes what its own declarations need. Hosts that use more of the base layer
/// include kivgui/kivgui.h.
namespace MIME {

using KivGuiBase::AnsiStr;
using KivGuiBase::AnsiSubStr;
using KivGuiBase::Blob;
using KivGuiBase::File;
using KivGuiBase::MemoryFile;
using KivGuiBase::SharedArray;

// ------------------------------------------------------------------------------- vocabulary --

/// Top-level media types (RFC 2046, 2). The values are part of the interface: hosts may store them.
namespace Type {
enum keys : unsigned {
#define MIME_TYPE(name, text) name,
#include "mime/vocabulary/types.inc"
};
/// The type's text; empty for a number that is not a key.
KIV_EXPORT AnsiStr GetStr(keys key) noexcept;
}  // namespace Type

/// Media subtypes. A name may belong to several types; some names differ only in case.
namespace SubType {
enum keys : unsigned {
#define MIME_SUBTYPE(name, text) name,
#include "mime/vocabulary/subtypes.inc"
};
/// The subtype's text; empty for a number that is not a key.
KIV_EXPORT AnsiStr GetStr(keys key) noexcept;
}  // namespace SubType

/// Well-known header fields.
namespace Header {
enum keys : unsigned {
#define MIME_HEADER(name, text) name,
#include "mime/vocabulary/headers.inc"
};
/// The field's name as it is written; empty for a number that is not a key.
KIV_EXPORT AnsiStr GetStr(keys key) noexcept;
}  // namespace Header

/// The type's text, "/" and the subtype's text. A number that is not a key has an empty text.
KIV_EXPORT AnsiStr CanonicType(Type::keys type, SubType::keys subType) noexcept;

/// A media type: a text, or two keys from which the text is made.
struct ContentType {
    AnsiStr str;  ///< type "/" subtype; when it is empty, the keys give the text
    Type::keys type = Type::invalid;
    SubType::keys subType = SubType::invalid;

    /// The media type as text: `str`, or the text of the keys when `str` is empty.
    AnsiStr GetStr() const noexcept { return str.IsEmpty() ? CanonicType(type, subType) : str; }
};

/// @name Lookups between file-name extensions and media types
/// An extension is given without its dot; only GetTypeStrFromExt ignores a dot. ASCII case is
/// ignored. Nothing is trimmed: "text/plain; charset=x" is not a known type.
/// @return true when the table has an entry; otherwise the result is application/octet-stream, or
///         the empty extension. Any thread; the first call in the process builds the tables.
/// @{
KIV_EXPORT bool GetTypeFromExt(const AnsiStr& ext, ContentType& type) noexcept;
KIV_EXPORT bool GetTypesFromExt(const AnsiStr& ext, Type::keys& type,
                                SubType::keys& subType) noexcept;
KIV_EXPORT bool GetTypeStrFromExt(const AnsiStr& ext, AnsiStr& typeStr) noexcept;
KIV_EXPORT bool GetExtFromTypeStr(const AnsiStr& typeStr, AnsiStr& ext) noexcept;
/// @}

// ----------------------------------------------------------------------------- header fields --

/// The value of one parameter of a header field (RFC 2045, 5.1).
struct KIV_EXPORT ParameterValue {
    AnsiStr value;     ///< without quotes; empty for a parameter that had no "="
    bool raw = false;  ///< Serialize writes `value` unchanged; the reader stores false

    /// The parameter as header text, without the ";" before it: what Encoding::EncodeParameter
    /// returns. When `raw` is set: a space, the name, "=" and the value; the caller must make sure
    /// that the value is safe in a header.
    AnsiStr Serialize(const AnsiStr& name, bool useEncodedWords) const noexcept;
};

/// Parameters by name, in alphabetical order, case ignored.
///
/// `FindOrInsert` returns an entry with `.key` and `.value`, and adds it when it is missing; an
/// existing entry gets the spelling of the key that was looked up. It returns null when memory runs
/// out. `Find` never inserts. Iterate with range-for.
class KIV_EXPORT ParameterMap
    : public KivGuiBase::SkipListMap<ParameterValue, KivGuiBase::CaselessOrder> {
public:
    /// Copies every parameter of `source`; parameters with other names are kept.
    /// @return false when memory runs out before all are copied.
    bool CopyFrom(const ParameterMap& source) noexcept;

    /// Each parameter as header text with ";" before it, in order; empty for an empty map.
    AnsiStr Serialize(bool useEncodedWords) const noexcept;
};

/// The value of one header field.
struct HeaderValue {
    AnsiStr value;  ///< without the parameters; writers leave out a field whose value is empty
    ParameterMap parameters;
};

/// Header fields by name: unique, in alphabetical order, case ignored (see ParameterMap). The
/// order in which fields were read or set is not kept.
class KIV_EXPORT HeaderMap
    : public KivGuiBase::SkipListMap<HeaderValue, KivGuiBase::CaselessOrder> {
public:
    using SkipListMap::FindOrInsert;
    /// The entry of a well-known field.
    Node* FindOrInsert(Header::keys key) noexcept {
        const KivGuiBase::MemoryWatch watch;
        const AnsiStr name = Header::GetStr(key);
        return watch.HasFailed() ? nullptr : FindOrInsert(name);
    }

    /// The value of a parameter, as it is in the field; empty when the field or the parameter is
    /// missing. Never inserts. Any number of threads, as long as nobody changes the map.
    ///
    ///   const AnsiStr charset = part.headers.GetParameter("Content-Type", "charset");
    AnsiStr GetParameter(const AnsiStr& field, const AnsiStr& parameter) const noexcept;
    AnsiStr GetParameter(const char* field, const char* parameter) const noexcept {
        const Node* const node = Find(field);
        const ParameterMap::Node* const found =
            node != nullptr ? node->value.parameters.Find(parameter) : nullptr;
        return found != nullptr ? found->value.value : AnsiStr();
    }

    /// Copies every field of `source`, its value and exactly its parameters; fields with other
    /// names are kept. Copying a map into itself changes nothing.
    /// @return false when memory runs out before all are copied.
    bool CopyFrom(const HeaderMap& source) noexcept;

    /// The fields as text, folded, each line ending in CR LF; without the empty line that ends a
    /// header block. Fields with an empty value are left out.
    ///
    /// "Mime-Version" comes first, then the others in order. Values that are not ASCII, or have a
    /// CR or LF, become encoded words (RFC 2047); parameters are encoded too, those of Content-Type
    /// in the form that most mail programs read. "From", "Reply-To", "Sender", "To", "Cc" and "Bcc"
    /// are written with one mailbox per line, up to the first malformed one (MailboxParser); if no
    /// mailbox is found, like any other value.
    ///
    /// No value or parameter, whatever it contains, can end its field and begin another: every line
    /// after the first begins with white space. Field names are written unchanged.
    ///
    /// @param contentOnly  leaves out fields whose names do not begin with "Content-", except
    ///                     "Mime-Version".
    /// @param skipContent  leaves out "Mime-Version" and fields whose names begin with "Content-".
    /// @return empty when there is nothing to write, or memory runs out.
    AnsiStr Serialize(bool contentOnly, bool skipContent) const noexcept;
};

// ----------------------------------------------------------------------------------- entities --

/// Content transfer encodings (RFC 2045, 6).
namespace TransferEncoding {
enum keys : unsigned {
#define MIME_TRANSFER_ENCODING(key, text, isIdentity, codec) key,
#include "mime/encoding/transfer_encodings.inc"
};
/// The value of Content-Transfer-Encoding; empty for a number that is not a key.
KIV_EXPORT AnsiStr GetStr(keys key) noexcept;
/// Returns true if an encoded body is the body itself; false for a number that is not a key.
constexpr bool IsIdentity(keys encoding) noexcept {
    switch (encoding) {
#define MIME_TRANSFER_ENCODING(key, text, isIdentity, codec) \
    case key:                                                \
        return isIdentity;
#include "mime/encoding/transfer_encodings.inc"
    }
    return false;
}
}  // namespace TransferEncoding

/// A summary of an entity's Content- fields.
struct KIV_EXPORT Info {
    TransferEncoding::keys transferEncoding = TransferEncoding::base64;
    ContentType contentType;
    AnsiStr boundary;  ///< without the leading "--"; not empty for a multipart entity
    AnsiStr charset;   ///< set by hosts for writing; the reader leaves it empty
    /// The entity is a message/rfc822 or similar (RFC 2046, 5.2.1): its first child is the message
    /// that it carries. Writers write that child alone, without boundary lines. Set by the mail
    /// rules.
    bool isMessage = false;

    /// Sets `boundary` to a new random value that no text contains by chance: "=_Qvm_=-" and 32
    /// hexadecimal digits. Sets it to the empty text when memory runs out or the system has no
    /// random numbers.
    void GenerateBoundary() noexcept;
};

/// The body of a single-part entity: in `content`, in `file`, or nowhere.
struct KIV_EXPORT Data {
    bool encoded = false;   ///< `content` is transfer-encoded already; writers do not encode it
    bool topLevel = false;  ///< set by hosts on a multipart entity that is a whole message
    AnsiStr content;        ///< the body in memory; when it is not empty, `file` is ignored
    File file;              ///< the file that holds the body
    bool ownsFile = false;  ///< the file is deleted with this object

    Data() noexcept = default;
    Data(const Data& other) noexcept { *this = other; }
    ~Data() { Clear(); }

    /// Copies. A file that `other` owns is copied into a new temporary file, which this object then
    /// owns; when copying fails, this object has no file. A file that this object owned is deleted
    /// first. Assigning an object to itself changes nothing.
    Data& operator=(const Data& other) noexcept;

private:
    void Clear() noexcept;
};

/// One MIME entity: header fields and a body or children.
///
/// Owns its children, which are made with `new`. Trees of any depth can be read, written and
/// destroyed; none of these operations recurses.
class KIV_EXPORT Part {
public:
    AnsiStr rawText;  ///< when not empty, the whole entity as text, and all that writers write
    Info info;
    Data data;  ///< the body of an entity without children
    HeaderMap headers;
    SharedArray<Part*> parts;  ///< the children, in order; owned

    /// @name What the text has in addition to the tree
    /// Set by the mail rules only; writers ignore it.
    /// @{
    FieldList fields;  ///< every field as in the text, in order, including repeated ones
    AnsiStr preamble;  ///< before the first boundary line (RFC 2046, 5.1.1)
    AnsiStr epilogue;  ///< after the closing boundary line
    /// @}

    Part() noexcept = default;
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;
    ~Part();

    /// Adds `child`, which must come from `new`, as the last child. This part then owns it. A part
    /// without a boundary is given one. When memory runs out, or there are no random numbers for a
    /// boundary, nothing is changed: the child is not added, and the caller still owns it.
    void AddPart(Part* child) noexcept;

    /// Reads message text into this part, which should be new: fields and children are added to
    /// existing ones.
    ///
    /// The top entity must be a multipart. The decoded body of each single-part entity is written to
    /// a new file in the system's temporary folder, named "mimeio-" and a name from its headers;
    /// `data.file` is that file. Only the file's owner can read it. It is not deleted with the tree,
    /// unless `data.ownsFile` is set.
    ///
    /// @param text, size   the message: a header block, an empty line, the body (RFC 2046, 5.1);
    ///                     read in place. A UTF-8 byte-order mark and line ends at its start are
    ///                     ignored, and so is everything after the closing boundary line.
    /// @param error        emptied; receives one message when reading fails.
    /// @param contentType  null, or the value of a Content-Type field that is not in the text; the
    ///                     text then starts with the body.
    /// @return false at the first failure. Everything read before it is kept, including files.
    ///
    /// Takes time linear in `size`, and memory for the tree and for the longest run of base64 lines
    /// that ends inside a group. docs/reading.md has the exact rules and their departures from the
    /// RFCs.
    bool Read(const char* text, unsigned long long size, AnsiStr& error,
              const char* contentType = nullptr) noexcept;

    /// Reads a file as above. When it cannot be opened, the result is false, `error` is empty and the
    /// last error says why. A file of 4 MiB or more is mapped, and must not be truncated meanwhile.
    bool Read(const File& file, AnsiStr& error, const char* contentType = nullptr) noexcept;

    /// @name Reading with options
    /// As above, except for what the options change; `ReadOptions{}` changes nothing.
    ///
    /// @param report       null, or where to store the deviations that were tolerated and the place
    ///                     of the failure. It is emptied first.
    /// @param contentType  as above.
    /// @return false at the first failure, with a message in `error`; there is no message when
    ///         memory ran out or the file could not be opened.
    /// @{
    bool Read(const char* text, unsigned long long size, AnsiStr& error, const ReadOptions& options,
              ReadReport* report = nullptr, const char* contentType = nullptr) noexcept;
    bool Read(const File& file, AnsiStr& error, const ReadOptions& options,
              ReadReport* report = nullptr, const char* contentType = nullptr) noexcept;
    /// @}

    /// Attaches content: sets `info.contentType`, the transfer encoding in `info` and in the
    /// headers, and stores the bytes in `data.content` transfer-encoded: quoted-printable when
    /// `newType.type` is Type::text, base64 otherwise.
    /// @return false, with nothing changed, when `source` or its encoded text has more than
    ///         4,294,967,295 bytes, or memory runs out.
    bool SetContent(const MemoryFile& source, const ContentType& newType) noexcept;

    /// @name Writing as mail
    /// Writes what mail programs send, for a tree that a host has built, or read by the mail rules
    /// and changed. docs/writing-mail.md has the details.
    ///
    /// The text is complete: Content-Type in each entity, MIME-Version, and by option Date and
    /// Message-ID. Fields that were read by the mail rules and have not been changed in `headers`
    /// are written as they were, byte for byte; all others are encoded again. Each body, from
    /// memory or its file, gets the smallest transfer encoding that is safe, whatever
    /// `info.transferEncoding` says. Its bytes are not changed, except that lines that end in LF
    /// alone get CR LF in a text that is not an attachment. The tree is not changed.
    ///
    /// Nothing is lost silently: anything that cannot be written is an error that names the field
    /// or the file and has the path of the part (badField, badAddress, badDate, cannotEncode,
    /// cannotOpen, cannotRead, cannotSign). Trees have at most 256 levels (tooDeep). Bodies are
    /// streamed, in bounded memory. `rawText`, bodies with `data.encoded` and raw parameters are
    /// written as they are, if that is safe.
    ///
    /// Several threads may write the same tree. Throws std::bad_alloc.
    /// @{
    /// To a file, which is written under another name in the same folder and renamed when it is
    /// complete. An incomplete mail never has its name.
    Result<void> Save(const File& target, const WriteOptions& options = {}) const;
    template <KivGuiBase::StandardPath Path>
    Result<void> Save(const Path& target, const WriteOptions& options = {}) const {
        return Save(File(target), options);
    }
    /// Passes the text to the sink in pieces; `refused` when the sink returns false.
    Result<void> SaveTo(const Sink& sink, const WriteOptions& options = {}) const;
    Result<std::string> SaveToString(const WriteOptions& options = {}) const;
    /// @}

    /// The tree as message text in memory. The tree is not changed.
    ///
    /// Header fields are completed from `info` and `data`: Content-Type with charset or boundary,
    /// Content-Transfer-Encoding, and on a multipart entity with `data.topLevel` "Mime-Version".
    /// Bodies are taken from `data.content` only, and encoded as `info.transferEncoding` says
    /// unless `data.encoded` is set; a number that is not a key means 8bit. For a child without
    /// children, only the Content- fields are written. See docs/writing.md. For mail, use Save.
    ///
    /// @param contentOnly  write only the Content- fields of an entity without children.
    /// @return empty when the text would exceed 4 GiB or memory runs out. Takes time linear in the
    ///         size of the text.
    AnsiStr Serialize(bool contentOnly) const noexcept;

    /// Writes the tree to a file, which is created or replaced; bodies are streamed from their
    /// files. Stored fields are written unchanged, each on one line; see docs/writing.md. For mail,
    /// use Save.
    ///
    /// @param contentTypeOut  when not null, receives the value of Content-Type, and the header
    ///                        block of this entity is left out. Read accepts both together.
    /// @return false when something could not be read or written, or memory runs out; the file is
    ///         then incomplete, and `contentTypeOut` is empty.
    bool Write(const File& target, AnsiStr* contentTypeOut = nullptr) noexcept;
};

/// A part that is a whole message. It must not be a child of another part: a part destroys its
/// children as `Part`.
class KIV_EXPORT Message : public Part {
public:
    /// The message as a signed S/MIME message: multipart/signed with a detached signature of the
    /// text that Serialize returns, including headers (RFC 8551, 3.5.3). The tree is not changed.
    /// Bodies that are only in files are not part of that text; see Serialize. To sign mail, use
    /// Save.
    ///
    /// The outer header block has the fields of `headers` except "Mime-Version" and the Content-
    /// fields; there must be at least one. Two temporary files, which only their owner can read,
    /// exist during the call.
    ///
    /// @param signerFile  the private key with its certificate, in PEM or PKCS#12, and further
    ///                    certificates to send along (kivsec/pkcs7_msg.h, docs/signing.md).
    /// @param signerText  the pass phrase of that file; empty when it has none.
    /// @return empty on failure, with the reason in the last error. The thread's error message
    ///         (`KivGuiBase::GetStoredErrorMessage`) is set when the signature could not be made or
    ///         saved, or when the message's text has a NUL, which cannot be signed
    ///         (kErrorInvalidData); otherwise it is unchanged.
    ///
    /// Several threads may sign at the same time, even the same message.
    AnsiStr Sign(const File& signerFile, const AnsiStr& signerText) const noexcept;
};

// ----------------------------------------------------------------------------------- encoding --

/// The text encoders: pure functions, any thread.
class KIV_EXPORT Encoding {
public:
    /// Encodes a body as quoted-printable (RFC 2045, 6.7) in lines of at most 76 characters.
    ///
    /// Beyond the RFC: a UTF-8 byte-order mark at the start is dropped; "." is always encoded, so
    /// that no line can end an SMTP transfer; CR LF is a line break, and a CR or LF alone is
    /// encoded. Takes linear time.
    /// @return empty for an empty body, or when memory runs out. Lines that exceed
    ///         AnsiStr::kMaxLength are missing (Part::SetContent notices).
    ///
    ///   Encoding::QPEncode("a=b.");   // "a=3Db=2E"
    static AnsiStr QPEncode(const AnsiStr& text) noexcept;
    static AnsiStr QPEncode(const char* data, unsigned length) noexcept;

    /// Decodes one line of quoted-printable, given without its CR LF, and appends CR LF unless the
    /// line ends in a soft line break. `out` is replaced. A malformed escape is copied unchanged,
    /// and white space at the end is kept, unlike RFC 2045, 6.7 (3).
    /// @return false, with `out` empty, only when memory runs out or the line has more than
    ///         4,294,967,293 bytes.
    static bool QPDecodeLine(const AnsiSubStr& line, Blob& out) noexcept;

    /// Encodes header text as encoded words (RFC 2047, "Q", UTF-8), joined by single spaces: each
    /// at most 75 characters, none ending inside a UTF-8 character. Text up to the first NUL.
    ///
    /// @param text   in UTF-8; other bytes are encoded too.
    /// @param force  also encodes plain ASCII. Otherwise a text without CR, LF and bytes above 0x7F
    ///               is returned unchanged.
    /// @return empty for an empty text, or when memory runs out.
    ///
    ///   Encoding::QEncode("Gr\xC3\xBC\xC3\x9F" "e", false);   // "=?utf-8?Q?Gr=C3=BC=C3=9Fe?="
    static AnsiStr QEncode(const AnsiStr& text, bool force) noexcept;

    /// One parameter of a header field as text: a space, the name, "=" and the value in the plainest
    /// form that fits a line of 77 characters: an atom, a quoted-string, or else RFC 2231 sections
    /// of whole UTF-8 characters, each after a CR LF on its own line.
    ///
    /// @param useEncodedWords  writes encoded words in a quoted-string instead of RFC 2231 sections:
    ///                         mail programs read them in Content-Type, though RFC 2047 forbids it.
    /// @return empty for a name of more than 51 characters, or when memory runs out.
    ///
    ///   Encoding::EncodeParameter("filename", "a b.txt", false);   // " filename=\"a b.txt\""
    static AnsiStr EncodeParameter(const AnsiStr& name, const AnsiStr& value,
                                   bool useEncodedWords) noexcept;

    /// Breaks a whole header field at white space into lines of at most 78 characters, and ends it
    /// with CR LF (RFC 5322, 2.2.3). A word that is too long for a line is kept whole up to 998
    /// characters. Line breaks in the text become folds. A line's length counts characters of
    /// `text`, not the space that is inserted after a line break. Text up to the first NUL.
    /// @return empty for an empty text, or when memory runs out.
    static AnsiStr FoldHeader(const AnsiStr& text) noexcept;

    /// Returns true if `text` is an atom and needs no quotes (RFC 822, 3.3; "=" is also excluded).
    /// The empty string counts as an atom.
    static bool IsAtom(const AnsiStr& text) noexcept;

    /// The text as a quoted-string: in double quotes, with a backslash before every CR, double
    /// quote and backslash. Empty when memory runs out.
    static AnsiStr Quote(const AnsiStr& text) noexcept;
};

// ---------------------------------------------------------------------------------- utilities --

/// Iterates over the mailboxes of an address list (the value of To, Cc and similar fields; RFC
/// 5322, 3.4).
///
///   for (MailboxParser mailboxes(value); mailboxes.ToNext();) Use(mailboxes.GetMailbox());
///
/// It knows quoted and bare display names, addresses in angle brackets, bare addresses and commas.
/// It does not look inside addresses: comments, groups and domain literals are part of a bare
/// address. One thread at a time; the whole iteration takes linear time.
class KIV_EXPORT MailboxParser {
public:
    /// @param text  shared, not copied; read up to its first NUL.
    explicit MailboxParser(const AnsiStr& text) noexcept : text_(text), rest_(text_.GetStr()) {}
    MailboxParser(const MailboxParser&) = delete;
    MailboxParser& operator=(const MailboxParser&) = delete;

    /// Moves to the next mailbox that has an address; entries without one are skipped.
    /// @return false at the end of the text, and at a malformed mailbox, after which nothing more
    ///         is found; IsMalformed tells the two apart. `name` and `address` are then undefined.
    bool ToNext() noexcept;

    /// The current mailbox as header text: the address alone, or the display name as an atom,
    /// encoded words or a quoted-string, and the address in angle brackets. Empty when memory runs out.
    AnsiStr GetMailbox() const noexcept;

    /// After ToNext returned false: returns true if it stopped at a malformed mailbox (including an
    /// unterminated one at the end of the text), or at one for which there was no memory (last
    /// error kErrorNotEnoughMemory).
    bool IsMalformed() const noexcept { return isMalformed_; }

private:
    bool ParseEntry() noexcept;
    bool ParseName() noexcept;
    bool ParseAddress() noexcept;
    bool ParseUnknown() noexcept;

    AnsiStr text_;
    std::string_view rest_;  ///< the text that has not been read yet

public:
    AnsiStr address;  ///< of the current mailbox, without angle brackets
    AnsiStr name;     ///< its display name, without quotes and escapes; may be empty

private:
    bool isMalformed_ = false;
};

/// Returns true if a program may have made `filename` from a message's subject in one of the usual
/// ways: replacing or dropping characters that file names cannot have, adding or removing
/// separators, cutting long names, changing names of devices, putting the name in square brackets.
/// Both texts are UTF-8, read up to their first NUL. A pure function.
///
/// @param compareExtensions  the text after the last "." must be equal, ASCII case ignored; the
///                           rest is then compared without it.
/// @param ignoreCase         compares the rest without regard to ASCII case.
KIV_EXPORT bool IsFilenameDerivedFromSubject(const AnsiStr& filename, const AnsiStr& subject,
                                             bool compareExtensions, bool ignoreCase) noexcept;

}  // namespace MIME

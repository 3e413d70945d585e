#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mime/parser/body_codecs.h"
#include "mime/parser/delimiters.h"
#include "mime/parser/header_block.h"
#include "mime/parser/reading.h"

namespace MIME {

/// What a header block says about the text after it.
struct EntityShape {
    AnsiStr boundary;        ///< empty unless the entity is a multipart that can be taken apart
    bool isMessage = false;  ///< it carries one, encoded perhaps
    bool isDigest = false;
    bool isPlainText = false;  ///< uuencoded files may be in it
    TransferEncoding::keys encoding = TransferEncoding::binary;

    bool HasChildren() const noexcept { return isMessage || !boundary.IsEmpty(); }
};

/// Makes something of what a Scanner finds. The scanner calls, for each entity in the order of the
/// text: BeginEntity, its fields, EndHeader; then either its children, or BeginBody and EndBody; at
/// last EndEntity. When reading fails, the calls just end.
///
/// Every call that returns bool, or a pointer, ends the reading with false, or null. Implementations
/// may throw std::bad_alloc.
class Builder : public FieldTaker {
public:
    virtual ~Builder() = default;

    /// An entity begins: the top, or the next child of the innermost one that has not ended.
    virtual bool BeginEntity() = 0;
    /// The Content-Type value that travelled apart from the text, in place of a header block.
    virtual bool TakeContentType(std::string_view value) = 0;
    /// The header block is complete.
    /// @param text        the block, an mbox line before it included, without the empty line.
    /// @param isInDigest  the entity is a child of a multipart/digest.
    virtual bool EndHeader(std::string_view text, bool isInDigest, EntityShape& shape) = 0;

    /// The entity's body begins at the reading's cursor.
    /// @param contentLength  receives the value of Content-Length, or nothing.
    /// @return what takes the body, in pieces; valid until EndBody.
    virtual BodyCodec* BeginBody(AnsiStr& contentLength) = 0;
    /// @param isComplete  false after a failure.
    virtual bool EndBody(bool isComplete) = 0;

    /// The innermost entity carries a message in a transfer encoding. Its encoded body ends at the
    /// reading's cursor; up to LeaveText everything lies in `text`.
    virtual void EnterText(const std::shared_ptr<const std::string>& /*text*/) {}
    /// That entity ends next.
    virtual void LeaveText() noexcept {}

    /// The text before the first child, and after the last one, of the innermost entity
    /// (RFC 2046, 5.1.1). The epilogue may follow the entity's EndEntity.
    virtual void TakePreamble(std::string_view text) = 0;
    virtual void NoteClosingBoundary() = 0;
    virtual void TakeEpilogue(std::string_view text) = 0;

    /// A boundary line comes next, or the end of the text: what is open inside the entity at
    /// `line.level`, where 0 is the top, ends before it. The calls that end these entities follow.
    virtual void TakeBoundaryLine(const BoundaryLine& /*line*/) {}

    /// The boundary of the innermost entity, which has no child, never comes: it is one body.
    virtual void DropBoundary() = 0;

    virtual bool EndEntity() = 0;
};

/// The descent: header blocks, boundary lines, bodies. Makes no tree and no file.
///
/// A message that is carried in a transfer encoding is decoded into memory and read as a text of its own,
/// with its own cursor and boundaries; the levels go on in it.
///
/// Depth is data: a stack of levels, about 60 bytes each, because the text decides how deep it goes.
class Scanner {
public:
    /// Throws std::bad_alloc.
    Scanner(Reading& reading, Builder& builder);

    /// Reads the entity at the cursor, which has no enclosing multipart, and all its children.
    ///
    /// @param contentType  null, or a Content-Type value that stands in for the header block.
    /// @return false at the first failure, with a message unless memory ran out. Throws
    ///         std::bad_alloc.
    bool ReadEntity(const char* contentType);

private:
    /// An entity whose children are being read: a multipart, or one that carries a message.
    struct Level {
        Cursor body;  ///< where its text after the header block begins
        unsigned children = 0;
        bool hasBoundaryLine = false;
        bool isMessage;
        bool isDigest;
    };

    /// The text around the encoded message that is being read.
    struct OuterText {
        std::shared_ptr<const std::string> inner;
        Cursor cursor;  ///< after the encoded body
        std::unique_ptr<Delimiters> delimiters;
        size_t firstLevel;
    };

    bool SkipMboxLine();
    bool ReadHead(const char* begin, const char* contentType, bool isInDigest);
    bool ReadChild();
    bool ReadLevels();
    bool ReadMessageLevel();
    bool ReadMultipartLevel();
    bool TakeBoundaryLine(const BoundaryLine& line);
    bool IsUnusedBoundary(const BoundaryLine& line) const noexcept;
    bool RereadAsBody();

    bool ReadBody();
    bool CopyRawBody(BodyCodec& codec, const AnsiStr& contentLength);
    void NoteUuencoded(const Cursor& body);
    void NoteContentLength(const AnsiStr& contentLength, const char* begin);

    bool EnterDecoded();
    void LeaveDecoded();
    bool DecodeBody(std::string& text, Limits* limits);

    bool Open();
    bool Close();
    bool IsAtBlankEnd() const noexcept;
    bool CloseLevelsInside(const BoundaryLine& line);
    bool CloseAll(const char* end);
    bool EndEntity();

    void KeepText(const char* begin, const char* end);

    Reading& reading_;
    Cursor& cursor_;
    Builder& builder_;
    std::unique_ptr<Delimiters> delimiters_;
    std::vector<Level> levels_;  ///< from the top entity down
    size_t firstLevel_ = 0;      ///< of the text at the cursor: the entity that carries it
    std::vector<OuterText> outer_;
    EntityShape shape_;            ///< of the entity whose header block was read last
    bool isAfterClosing_ = false;  ///< the cursor is in the epilogue of the entity closed last
};

}  // namespace MIME

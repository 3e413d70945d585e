// The descent over a message, as a loop over a stack of open entities.
//
// The innermost level decides what comes next. A message level reads its one child and ends with it. A
// multipart level looks for the next boundary line; whatever that line belongs to, all levels inside it
// are complete, because their text has ended (by the mail rules; by the exact ones the line always belongs
// to the innermost level). After a boundary line that does not close its entity comes a child: a leaf is
// read to its end at once, anything else becomes the innermost level.
//
// Every step moves the cursor forward, but one: by the mail rules, a multipart whose boundary never comes is
// read again as one body. Its text is then searched twice at most, once for each level that is given up.

#include "mime/parser/scanner.h"

#include <utility>

#include "kivgui/convert.h"
#include "mime/encoding/uuencode.h"
#include "mime/parser/report.h"
#include "mime/parser/text_output.h"

namespace MIME {

using KivGuiBase::Str2UHyper;

Scanner::Scanner(Reading& reading, Builder& builder)
    : reading_(reading),
      cursor_(reading.cursor),
      builder_(builder),
      delimiters_(Delimiters::Make(reading)) {}

bool Scanner::ReadEntity(const char* contentType) {
    if (!reading_.limits.CountPart() || !reading_.limits.CheckDepth(0)) return false;
    if (!builder_.BeginEntity()) return false;
    const char* const begin = cursor_.GetNext();
    if (reading_.IsMail() && contentType == nullptr && !SkipMboxLine()) return false;
    if (!ReadHead(begin, contentType, false)) return false;
    if (shape_.HasChildren()) return Open() && ReadLevels();
    if (!reading_.IsMail()) return reading_.Fail(Messages::kBoundaryMissing);
    return ReadBody() && EndEntity();
}

bool Scanner::SkipMboxLine() {
    Line line;
    if (!PeekMboxLine(reading_, line)) return false;
    if (line.extent == 0) return true;
    reading_.Note(Deviation::mboxLine, cursor_.GetNext());
    cursor_.Skip(line.extent);
    return reading_.limits.CheckHeader(line.extent, 0);
}

/// @param begin  of the header block, an mbox line before it included.
bool Scanner::ReadHead(const char* begin, const char* contentType, bool isInDigest) {
    const char* end = begin;
    if (contentType != nullptr) {
        if (!builder_.TakeContentType(contentType)) return false;
    } else if (!ReadHeaderBlock(reading_, *delimiters_, begin, builder_, end)) {
        return false;
    }
    shape_ = EntityShape();
    return builder_.EndHeader({begin, static_cast<size_t>(end - begin)}, isInDigest, shape_);
}

/// Reads a child of the innermost level: to its end when it is a leaf; otherwise its header block, and
/// it becomes the innermost level itself.
bool Scanner::ReadChild() {
    if (!reading_.limits.CountPart() || !reading_.limits.CheckDepth(levels_.size())) return false;
    if (!builder_.BeginEntity()) return false;
    const Level& level = levels_.back();
    reading_.report.EnterEntity(level.children + 1);
    const char* const begin = cursor_.GetNext();
    if (level.isMessage && !SkipMboxLine()) return false;
    if (!ReadHead(begin, nullptr, level.isDigest)) return false;
    if (!shape_.HasChildren()) return ReadBody() && EndEntity();
    return Open();
}

// ------------------------------------------------------------------------------------ levels --

/// The entity whose header block was read last becomes the innermost level.
bool Scanner::Open() {
    const bool isDecoded = shape_.isMessage && !TransferEncoding::IsIdentity(shape_.encoding);
    if (isDecoded && !EnterDecoded()) return false;
    levels_.push_back({cursor_, 0, false, shape_.isMessage, shape_.isDigest});
    delimiters_->Open(shape_.boundary);
    return true;
}

/// The innermost level is complete.
bool Scanner::Close() {
    levels_.pop_back();
    delimiters_->Close();
    if (!outer_.empty() && levels_.size() == firstLevel_) LeaveDecoded();
    return EndEntity();
}

/// An entity, which is no level or no longer one, is complete.
bool Scanner::EndEntity() {
    if (!levels_.empty()) {
        reading_.report.LeaveEntity();
        ++levels_.back().children;
    }
    return builder_.EndEntity();
}

bool Scanner::ReadLevels() {
    while (!levels_.empty()) {
        if (!(levels_.back().isMessage ? ReadMessageLevel() : ReadMultipartLevel())) return false;
    }
    return true;
}

bool Scanner::ReadMessageLevel() {
    if (levels_.back().children == 0) return ReadChild();
    if (levels_.size() == firstLevel_ + 1) KeepText(cursor_.GetNext(), cursor_.GetEnd());
    return Close();
}

bool Scanner::ReadMultipartLevel() {
    const char* const begin = cursor_.GetNext();
    BoundaryLine line;
    if (!delimiters_->SkipToBoundary(line)) return false;
    line.level += firstLevel_;
    if (IsUnusedBoundary(line)) return RereadAsBody();
    KeepText(begin, line.before);
    return TakeBoundaryLine(line);
}

bool Scanner::TakeBoundaryLine(const BoundaryLine& line) {
    builder_.TakeBoundaryLine(line);
    if (line.isEnd) return CloseAll(line.before);
    if (!CloseLevelsInside(line)) return false;
    if (line.closing) {
        builder_.NoteClosingBoundary();
        isAfterClosing_ = true;
        if (levels_.size() == firstLevel_ + 1) KeepText(cursor_.GetNext(), cursor_.GetEnd());
        return Close();
    }
    levels_.back().hasBoundaryLine = true;
    // At the end of the text a boundary line was meant to close.
    if (reading_.IsMail() && IsAtBlankEnd()) return true;
    // Between two boundary lines in a row there is no entity.
    if (delimiters_->IsBoundaryLine(cursor_.GetNext())) {
        reading_.Note(Deviation::doubledDelimiter, cursor_.GetNext());
        return true;
    }
    return ReadChild();
}

bool Scanner::IsAtBlankEnd() const noexcept {
    return cursor_.GetRest().find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// The boundary line ends what is open inside its level.
bool Scanner::CloseLevelsInside(const BoundaryLine& line) {
    while (levels_.size() > line.level + 1) {
        if (!levels_.back().isMessage) reading_.Note(Deviation::missingInnerEnd, line.before);
        if (!Close()) return false;
    }
    return true;
}

/// The text ends, and with it what is open in it.
bool Scanner::CloseAll(const char* end) {
    for (const size_t first = firstLevel_; levels_.size() > first;) {
        if (!levels_.back().isMessage) reading_.Note(Deviation::missingEnd, end);
        if (!Close()) return false;
    }
    return true;
}

/// Does the innermost level end without ever having had a boundary line?
bool Scanner::IsUnusedBoundary(const BoundaryLine& line) const noexcept {
    if (!reading_.IsMail() || levels_.back().hasBoundaryLine) return false;
    return line.isEnd || line.closing || line.level + 1 < levels_.size();
}

/// The boundary of the innermost level never comes: the text of that level is one body.
bool Scanner::RereadAsBody() {
    cursor_ = levels_.back().body;
    reading_.Note(Deviation::unusedBoundary, cursor_.GetNext());
    builder_.DropBoundary();
    levels_.pop_back();
    delimiters_->Close();
    return ReadBody() && EndEntity();
}

/// Keeps what precedes the first child or follows the last one.
void Scanner::KeepText(const char* begin, const char* end) {
    const bool isEpilogue = std::exchange(isAfterClosing_, false);
    if (!reading_.IsMail()) return;
    std::string_view text(begin, static_cast<size_t>(end - begin));
    // The last line end belongs to the boundary line.
    if (end != cursor_.GetEnd()) text = TrimLineEnd(text, Rules::mail);
    if (isEpilogue) {
        builder_.TakeEpilogue(text);
    } else if (levels_.back().children == 0) {
        builder_.TakePreamble(text);
    }
}

// -------------------------------------------------------------------------- encoded messages --

/// Decodes the body at the cursor, which moves to its end.
bool Scanner::DecodeBody(std::string& text, Limits* limits) {
    TextOutput output(text, limits);
    const std::unique_ptr<BodyCodec> codec = MakeBodyCodec(shape_.encoding, output, reading_);
    delimiters_->BeginBody(TransferEncoding::IsIdentity(shape_.encoding));
    const bool isComplete = TakeBody(*codec, *delimiters_, reading_);
    const bool isWhole = output.Close();
    text.shrink_to_fit();
    return isWhole ? isComplete : output.Fail();
}

/// The entity whose header block was read last carries an encoded message: reading goes on in it.
bool Scanner::EnterDecoded() {
    const char* const begin = cursor_.GetNext();
    auto text = std::make_shared<std::string>();
    if (!DecodeBody(*text, &reading_.limits)) return false;
    builder_.EnterText(text);
    outer_.push_back({text, cursor_, std::move(delimiters_), firstLevel_});
    if (reading_.decodedLevels++ == 0) reading_.report.SetStandIn(begin);
    firstLevel_ = levels_.size();
    cursor_ = Cursor::AtMessage(*text);
    delimiters_ = Delimiters::Make(reading_);
    return true;
}

void Scanner::LeaveDecoded() {
    builder_.LeaveText();
    cursor_ = outer_.back().cursor;
    delimiters_ = std::move(outer_.back().delimiters);
    firstLevel_ = outer_.back().firstLevel;
    outer_.pop_back();
    if (--reading_.decodedLevels == 0) reading_.report.SetStandIn(nullptr);
}

// ------------------------------------------------------------------------------------ bodies --

/// Reads the body of the entity whose header block was read last. The cursor is left where the boundary
/// line, or the line end before it, begins; after the counted bytes where Content-Length counts.
bool Scanner::ReadBody() {
    const Cursor begin = cursor_;
    AnsiStr contentLength;
    BodyCodec* const codec = builder_.BeginBody(contentLength);
    if (codec == nullptr) return false;
    const bool isIdentity = TransferEncoding::IsIdentity(shape_.encoding);
    delimiters_->BeginBody(isIdentity);
    const bool isComplete =
        isIdentity ? CopyRawBody(*codec, contentLength) : TakeBody(*codec, *delimiters_, reading_);
    if (!builder_.EndBody(isComplete)) return false;
    if (!reading_.IsMail()) return true;
    NoteContentLength(contentLength, begin.GetNext());
    if (shape_.isPlainText && reading_.report.IsWanted()) NoteUuencoded(begin);
    return true;
}

/// Reports a uuencoded file in the body, which ends at the cursor. One of more than 16 MiB is not searched,
/// because it would have to be in memory as a whole.
void Scanner::NoteUuencoded(const Cursor& body) {
    constexpr ptrdiff_t kMaxSearched = 0x1000000;
    if (cursor_.GetNext() - body.GetNext() > kMaxSearched) return;
    const Cursor end = std::exchange(cursor_, body);
    const char* const begin = body.GetNext();
    if (TransferEncoding::IsIdentity(shape_.encoding)) {
        const std::string_view text(begin, static_cast<size_t>(end.GetNext() - begin));
        const std::vector<UuBlock> found = FindUuencodedFiles(text, 1);
        if (!found.empty()) reading_.Note(Deviation::uuencodedFile, begin + found[0].begin);
    } else {
        std::string text;
        DecodeBody(text, nullptr);
        if (!FindUuencodedFiles(text, 1).empty()) reading_.Note(Deviation::uuencodedFile, begin);
    }
    cursor_ = end;
}

namespace {

bool ParseLength(const AnsiStr& text, uint64_t& length) noexcept {
    constexpr unsigned kMaxDigits = 20;
    return Str2UHyper(text.GetStr(), nullptr, &length, false, kMaxDigits) == 0;
}

}  // namespace

/// By the exact rules Content-Length says where a body ends that is not encoded.
bool Scanner::CopyRawBody(BodyCodec& codec, const AnsiStr& contentLength) {
    if (reading_.IsMail() || contentLength.IsEmpty()) {
        return TakeBody(codec, *delimiters_, reading_);
    }
    uint64_t length = 0;
    if (!ParseLength(contentLength, length)) {
        return reading_.Fail(Messages::InvalidContentLength(contentLength));
    }
    if (length > cursor_.GetLeft()) {
        return reading_.Fail(Messages::ContentLengthExceedsData(length, cursor_.GetLeft()));
    }
    if (!codec.TakeLast(cursor_.GetRest().substr(0, static_cast<size_t>(length)))) return false;
    cursor_.Skip(length);
    return true;
}

/// Content-Length counts the body as it travels; programs that believe it read another one. The last
/// line end may be counted or not.
void Scanner::NoteContentLength(const AnsiStr& contentLength, const char* begin) {
    if (contentLength.IsEmpty()) return;
    constexpr uint64_t kLineEnd = 2;
    const auto size = static_cast<uint64_t>(cursor_.GetNext() - begin);
    uint64_t length = 0;
    const bool agrees = ParseLength(contentLength, length) && length <= size + kLineEnd &&
                        size <= length + kLineEnd;
    if (!agrees) reading_.Note(Deviation::contentLengthDisagrees, begin);
}

}  // namespace MIME

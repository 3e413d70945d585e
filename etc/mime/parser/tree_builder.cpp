// The tree that Part::Read makes of what the scanner finds.
//
// A part that is being read is owned by the stack of open entities and handed to its parent when it ends, so
// that a failure destroys it with everything in it, and the top keeps the children that were complete. The
// children that "start" names are put first when their parent ends, all at once: many such children cost no
// more than few.

#include "mime/parser/tree_builder.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/utf8.h"
#include "mime/foundation/guarded.h"
#include "mime/parser/report.h"

namespace MIME {

// --------------------------------------------------------------------------------- body files --

namespace {

/// Stands in for a field that could not be added.
const AnsiStr& GetNoValue() noexcept {
    static const AnsiStr none;
    return none;
}

const AnsiStr& GetValue(HeaderMap& headers, const AnsiStr& name) noexcept {
    const HeaderMap::Node* field = headers.FindOrInsert(name);
    return field != nullptr ? field->value.value : GetNoValue();
}

const AnsiStr& GetFileName(HeaderMap& headers) noexcept {
    HeaderMap::Node* field = headers.FindOrInsert(Header::Content_Disposition);
    if (field == nullptr) return GetNoValue();
    const ParameterMap::Node* name = field->value.parameters.FindOrInsert("filename");
    return name != nullptr ? name->value.value : GetNoValue();
}

AnsiStr MakeNameFromType(HeaderMap& headers) noexcept {
    const AnsiStr& id = GetContentID(headers);
    const HeaderMap::Node* type = headers.FindOrInsert(Header::Content_Type);
    AnsiStr extension;
    if (type == nullptr || !GetExtFromTypeStr(type->value.value, extension)) extension = "bin";
    return (id.IsEmpty() ? AnsiStr("tmp") : id) + AnsiStr(".") + extension;
}

int64_t GuessSize(const AnsiStr& contentLength, uint64_t left) noexcept {
    constexpr unsigned kMaxDigits = 20;
    auto size = static_cast<int64_t>(std::min<uint64_t>(left, INT64_MAX));
    KivGuiBase::Str2Hyper(contentLength.GetStr(), nullptr, &size, false, kMaxDigits);
    return size;
}

}  // namespace

const AnsiStr& GetContentID(HeaderMap& headers) noexcept {
    return GetValue(headers, "Content-ID");
}

File MakeBodyFile(HeaderMap& headers) noexcept {
    AnsiStr name = GetFileName(headers);
    if (name.IsEmpty()) name = MakeNameFromType(headers);
    return File(KivGuiBase::FileType::temporary, AnsiStr("mimeio-") + name, true);
}

bool BodyStore::Open(int64_t expectedSize) {
    isInMemory_ = reading_.options.bodies == Bodies::memory;
    return isInMemory_ || OpenFile(expectedSize);
}

bool BodyStore::OpenFile(int64_t expectedSize) {
    // Noted first: a file that exists must not be forgotten because memory ran out.
    if (reading_.options.removeFilesOnFailure) files_.push_back(&part_);
    part_.data.file = MakeBodyFile(part_.headers);
    file_.emplace(part_.data.file);
    if (!part_.data.file.IsEmpty() &&
        file_->OpenForWriting(expectedSize, FileAccess::Target::newFile)) {
        part_.data.ownsFile = reading_.options.ownFiles;
        return true;
    }
    if (reading_.options.removeFilesOnFailure) files_.pop_back();
    part_.data.file = File();  // there is none of that name
    return false;
}

bool BodyStore::MoveToFile() noexcept {
    isInMemory_ = false;
    try {
        if (!OpenFile(FileAccess::kDiskFileSize)) return false;
    } catch (const std::bad_alloc&) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
    const bool moved = file_->Write(memory_.GetData(), used_);
    memory_ = Blob();
    used_ = 0;
    return moved;
}

/// Makes room after what is in memory; when that would be too much, all of it is moved to a file.
bool BodyStore::Grow(uint64_t size) noexcept {
    const uint64_t wanted = used_ + size;
    if (wanted <= memory_.GetSize()) return true;
    // A room may be larger than what comes into it; Close looks again.
    if (wanted > uint64_t{reading_.options.memoryLimit} + kMaxRoom) return MoveToFile();
    const uint64_t capacity = std::max<uint64_t>(wanted, uint64_t{memory_.GetSize()} * 2);
    if (memory_.Resize(static_cast<unsigned>(std::min<uint64_t>(capacity, AnsiStr::kMaxLength)))) {
        return true;
    }
    KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
    return false;
}

bool BodyStore::WriteBytes(std::string_view bytes) noexcept {
    if (!reading_.limits.CountDecoded(bytes.size())) {
        isTooMuch_ = true;
        return false;
    }
    if (isInMemory_ && !Grow(bytes.size())) return false;
    if (!isInMemory_) return file_->Write(bytes.data(), bytes.size());
    // After a successful Resize the bytes are this handle's alone.
    if (!bytes.empty()) {
        std::memcpy(const_cast<char*>(memory_.GetData()) + used_, bytes.data(), bytes.size());
    }
    used_ += static_cast<unsigned>(bytes.size());
    return true;
}

char* BodyStore::MakeRoom(unsigned size) noexcept {
    if (isTooMuch_) return nullptr;
    if (isInMemory_ && !Grow(size)) return nullptr;
    if (!isInMemory_) return file_->GetWriteRoom(size);
    return const_cast<char*>(memory_.GetData()) + used_;
}

void BodyStore::CommitRoom(unsigned size) noexcept {
    // The room was asked for before its bytes were known, so the failure shows at the next call.
    if (!reading_.limits.CountDecoded(size)) isTooMuch_ = true;
    if (isInMemory_) {
        used_ += size;
    } else {
        file_->Commit(size);
    }
}

bool BodyStore::Close() noexcept {
    Flush();
    if (isInMemory_ && used_ > reading_.options.memoryLimit && !MoveToFile()) return false;
    if (!isInMemory_) return file_->Close() && !isTooMuch_;
    part_.data.content = AnsiStr(memory_.GetData(), used_);
    return !isTooMuch_ && part_.data.content.GetLength() == used_;
}

bool BodyStore::Fail() noexcept {
    return isTooMuch_ ? reading_.limits.FailDecoded() : reading_.Fail(Messages::WriteFailed());
}

// ----------------------------------------------------------------------------------- the tree --

bool TreeBuilder::BeginEntity() {
    block_ = reading_.cursor.GetNext();
    if (open_.empty()) {
        open_.push_back({&top_, nullptr, {}, {}});
        return true;
    }
    std::unique_ptr<Part> part(new (std::nothrow) Part);
    if (part == nullptr) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
    open_.push_back({part.get(), nullptr, {}, {}});
    open_.back().owned = std::move(part);
    return true;
}

bool TreeBuilder::TakeField(std::string_view name, std::string_view value) {
    if (reading_.IsMail()) {
        if (!KeepPlace(name, value)) return false;
        if (name.empty()) return true;
    }
    return fields_.Store(GetPart().headers, name, value);
}

bool TreeBuilder::TakeContentType(std::string_view value) {
    return fields_.StoreContentType(GetPart().headers, value);
}

bool TreeBuilder::KeepPlace(std::string_view name, std::string_view value) noexcept {
    const auto offset = [this](const char* place) { return static_cast<unsigned>(place - block_); };
    const char* const end = value.data() + value.size();
    if (end - block_ > static_cast<std::ptrdiff_t>(AnsiStr::kMaxLength)) {
        return reading_.Fail(Messages::kLineTooLong);
    }
    return places_.Add({offset(name.data()), offset(name.data() + name.size()),
                        offset(value.data()), offset(end)});
}

/// The fields as they are in the block, with its text.
bool TreeBuilder::KeepFields(std::string_view text) noexcept {
    FieldList& fields = GetPart().fields;
    SharedArray<FieldList::Place> places;
    std::swap(places, places_);
    if (text.size() > AnsiStr::kMaxLength) return reading_.Fail(Messages::kLineTooLong);
    fields.text_ = text;
    if (fields.text_.GetLength() != text.size()) return false;
    fields.places_ = places;
    return true;
}

bool TreeBuilder::EndHeader(std::string_view text, bool isInDigest, EntityShape& shape) {
    if (reading_.IsMail() && !KeepFields(text)) return false;
    block_ = nullptr;
    Part& part = GetPart();
    if (!SetInfoFromHeaders(part, reading_, text.data(), isInDigest)) return false;
    shape.boundary = part.info.boundary;
    shape.isMessage = part.info.isMessage;
    shape.encoding = part.info.transferEncoding;
    shape.isPlainText = reading_.IsMail() && IsPlainText(part.info.contentType);
    if (!shape.HasChildren()) return true;
    if (shape.isMessage && !TransferEncoding::IsIdentity(shape.encoding)) StateNoEncoding(part);
    open_.back().start = part.headers.GetParameter("Content-Type", "start");
    if (reading_.IsMail()) {
        shape.isDigest =
            KivGuiBase::EqualsCaseless(part.info.contentType.GetStr().GetStr(), "multipart/digest");
    }
    return true;
}

/// A message that was carried encoded is written without an encoding (RFC 2046, 5.2.1), so the part says
/// so, too.
void TreeBuilder::StateNoEncoding(Part& part) noexcept {
    part.info.transferEncoding = TransferEncoding::binary;
    HeaderMap::Node* const field =
        part.headers.Find(Header::GetStr(Header::Content_Transfer_Encoding));
    if (field != nullptr) field->value.value = TransferEncoding::GetStr(TransferEncoding::binary);
}

BodyCodec* TreeBuilder::BeginBody(AnsiStr& contentLength) {
    Part& part = GetPart();
    contentLength = GetValue(part.headers, "Content-Length");
    store_.emplace(part, reading_, files_);
    if (!store_->Open(GuessSize(contentLength, reading_.cursor.GetLeft()))) {
        store_->Fail();
        return nullptr;
    }
    codec_ = MakeBodyCodec(part.info.transferEncoding, *store_, reading_);
    return codec_.get();
}

bool TreeBuilder::EndBody(bool isComplete) {
    codec_.reset();
    const bool isClosed = store_->Close() || (isComplete && store_->Fail());
    store_.reset();
    return isComplete && isClosed;
}

bool TreeBuilder::EndEntity() {
    Open entity = std::move(open_.back());
    open_.pop_back();
    PutRootsFirst(entity);
    if (open_.empty() || Attach(open_.back(), entity.owned)) return true;
    dropped_ = std::move(entity.owned);  // until its files are removed
    return false;
}

/// Makes `child` the last child; takes it over only when that succeeds.
bool TreeBuilder::Attach(Open& parent, std::unique_ptr<Part>& child) noexcept {
    const bool isRoot = !parent.start.IsEmpty() && GetContentID(child->headers) == parent.start;
    const unsigned index = parent.part->parts.GetCount();
    if (isRoot && !parent.roots.Add(index)) return false;
    if (!parent.part->parts.Add(child.get())) return false;
    static_cast<void>(child.release());
    return true;
}

/// Puts the children that "start" names before the others, the last read of them first (RFC 2387, 3.2).
void TreeBuilder::PutRootsFirst(Open& parent) noexcept {
    if (parent.roots.IsEmpty()) return;
    const SharedArray<Part*>& parts = parent.part->parts;
    const SharedArray<unsigned>& roots = parent.roots;
    SharedArray<Part*> ordered;
    bool isComplete = true;
    for (unsigned i = roots.GetCount(); i-- > 0;) isComplete &= ordered.Add(parts[roots[i]]);
    for (unsigned i = 0, root = 0; i < parts.GetCount(); ++i) {
        if (root < roots.GetCount() && roots[root] == i) {
            ++root;
        } else {
            isComplete &= ordered.Add(parts[i]);
        }
    }
    parent.roots.Clear();
    if (isComplete) parent.part->parts = ordered;
}

void TreeBuilder::Abandon() noexcept {
    if (open_.empty()) return;
    PutRootsFirst(open_.front());
    // The fields that a header block had before it failed can be looked at.
    if (reading_.IsMail() && open_.size() == 1 && block_ != nullptr) {
        KeepFields({block_, static_cast<size_t>(reading_.cursor.GetNext() - block_)});
    }
}

void TreeBuilder::RemoveFiles() noexcept {
    for (Part* part : files_) {
        part->data.file.Remove(false);
        part->data.file = File();
        part->data.ownsFile = false;
    }
    files_.clear();
}

// ----------------------------------------------------------------------------------- the entry --

namespace {

bool ReadText(Part& top, std::string_view text, AnsiStr& error, const ReadOptions& options,
              ReadReport* report, const char* contentType) noexcept {
    error = AnsiStr();
    if (report != nullptr) *report = ReadReport();
    Reading reading(text.data(), Cursor::AtMessage(text), error, options, report);
    TreeBuilder builder(top, reading);
    const KivGuiBase::MemoryWatch watch;
    const auto read = [&] { return Scanner(reading, builder).ReadEntity(contentType); };
    if (Guarded(false, read)) return true;
    const uint32_t reason = KivGuiBase::GetLastError();
    reading.report.NoteFailure(reading.cursor.GetNext());
    builder.Abandon();
    builder.RemoveFiles();
    // A message could be cut short, or name what only looks wrong because something is missing.
    if (watch.HasFailed()) error = AnsiStr();
    KivGuiBase::SetLastError(watch.HasFailed() ? KivGuiBase::kErrorNotEnoughMemory : reason);
    return false;
}

bool ReadFile(Part& top, const File& file, AnsiStr& error, const ReadOptions& options,
              ReadReport* report, const char* contentType) noexcept {
    error = AnsiStr();
    if (report != nullptr) *report = ReadReport();
    MemoryFile view;
    if (!view.Open(file, MemoryFile::Mode::read)) {
        if (report != nullptr) report->failed = true;
        return false;
    }
    const std::string_view text(view.GetData(), static_cast<size_t>(view.GetSize()));
    return ReadText(top, text, error, options, report, contentType);
}

}  // namespace

bool Part::Read(const char* text, unsigned long long size, AnsiStr& error,
                const char* contentType) noexcept {
    return ReadText(*this, {text, size}, error, ReadOptions(), nullptr, contentType);
}

bool Part::Read(const File& file, AnsiStr& error, const char* contentType) noexcept {
    return ReadFile(*this, file, error, ReadOptions(), nullptr, contentType);
}

bool Part::Read(const char* text, unsigned long long size, AnsiStr& error,
                const ReadOptions& options, ReadReport* report, const char* contentType) noexcept {
    return ReadText(*this, {text, size}, error, options, report, contentType);
}

bool Part::Read(const File& file, AnsiStr& error, const ReadOptions& options, ReadReport* report,
                const char* contentType) noexcept {
    return ReadFile(*this, file, error, options, report, contentType);
}

}  // namespace MIME

// The second builder: places instead of parts.
//
// An entity begins where the scanner begins to read it. A leaf ends with its body. Where an entity with
// children ends is only known at the next boundary line outside it, because an epilogue may follow its own
// closing boundary line: so each boundary line gives their ends to all entities that it ends, and to the
// one that closed last before it. Each entity is given an end once; the cost is linear.
//
// Only two fields steer the reading. Where they are written as usual they are read in the text; otherwise,
// and for a report, they are kept in one scratch part and read by the same functions as those of the tree of
// parts. Both ways see the same structure.

#include "mime/mail/message_tree.h"

#include <algorithm>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/parser/plain_fields.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

constexpr std::string_view kType = "Content-Type";
constexpr std::string_view kEncoding = "Content-Transfer-Encoding";

/// Where bodies go that are decoded for the report alone.
class Nowhere final : public BodyOutput {
public:
    bool Fail() noexcept override { return false; }

private:
    bool WriteBytes(std::string_view /*bytes*/) noexcept override { return true; }
    char* MakeRoom(unsigned size) noexcept override {
        return room_.GetSize() >= size ? const_cast<char*>(room_.GetData()) : room_.Renew(size);
    }
    void CommitRoom(unsigned /*size*/) noexcept override {}

    Blob room_;
};

}  // namespace

bool PlaceBuilder::BeginEntity() {
    EntityPlace place;
    place.text = text_.number;
    place.begin = place.fields = GetOffset(reading_.cursor.GetNext());
    const auto index = static_cast<uint32_t>(tree_.places.size());
    if (!open_.empty()) {
        place.parent = open_.back().index;
        place.number = ++open_.back().children;
    }
    tree_.places.push_back(place);
    open_.push_back({index});
    type_ = encoding_ = {};
    if (reading_.report.IsWanted()) ClearScratch();
    return true;
}

void PlaceBuilder::ClearScratch() {
    scratch_.headers.Clear();
    scratch_.info = Info();
}

bool PlaceBuilder::TakeField(std::string_view name, std::string_view value) {
    // A report wants to know of every field what is wrong with it.
    if (reading_.report.IsWanted()) {
        return name.empty() || fields_.Store(scratch_.headers, name, value);
    }
    if (name.size() == kType.size() && type_.data() == nullptr && EqualsCaseless(name, kType)) {
        type_ = value;
    } else if (name.size() == kEncoding.size() && encoding_.data() == nullptr &&
               EqualsCaseless(name, kEncoding)) {
        encoding_ = value;
    }
    return true;
}

bool PlaceBuilder::TakeContentType(std::string_view value) {
    type_ = value;
    return !reading_.report.IsWanted() || fields_.StoreContentType(scratch_.headers, value);
}

/// Reads the fields that steer the reading.
bool PlaceBuilder::SetShape(const char* where, bool isInDigest, EntityShape& shape) {
    if (!reading_.report.IsWanted()) {
        if (ReadPlainFields(type_, encoding_, isInDigest, reading_, shape)) return true;
        ClearScratch();
        if (!fields_.Store(scratch_.headers, kType, type_)) return false;
        if (!fields_.Store(scratch_.headers, kEncoding, encoding_)) return false;
    }
    if (!SetInfoFromHeaders(scratch_, reading_, where, isInDigest)) return false;
    const Info& info = scratch_.info;
    shape.boundary = info.boundary;
    shape.isMessage = info.isMessage;
    shape.encoding = info.transferEncoding;
    shape.isPlainText = IsPlainText(info.contentType);
    shape.isDigest = EqualsCaseless(info.contentType.GetStr().GetStr(), "multipart/digest");
    return true;
}

bool PlaceBuilder::EndHeader(std::string_view text, bool isInDigest, EntityShape& shape) {
    if (!SetShape(text.data(), isInDigest, shape)) return false;
    EntityPlace& place = GetPlace();
    place.encoding = shape.encoding;
    place.isMessage = shape.isMessage;
    place.isInDigest = isInDigest;
    place.isPlainText = shape.isPlainText;
    place.hasBoundary = !shape.boundary.IsEmpty();
    place.fieldsEnd = GetOffset(text.data() + text.size());
    place.body = GetOffset(reading_.cursor.GetNext());
    // An mbox line before the fields belongs to the entity, but is no field.
    if (place.parent != EntityPlace::kNone && !tree_.places[place.parent].isMessage) return true;
    if (!text.starts_with('F') && !text.starts_with('>')) return true;
    Reading block(text.data(), Cursor(text.data(), text.size()), reading_.error, reading_.options,
                  nullptr);
    Line line;
    if (!PeekMboxLine(block, line)) return false;
    place.fields += line.extent;
    return true;
}

BodyCodec* PlaceBuilder::BeginBody(AnsiStr& contentLength) {
    if (!reading_.report.IsWanted()) return &noCodec_;
    const HeaderMap::Node* const field = scratch_.headers.Find("Content-Length");
    if (field != nullptr) contentLength = field->value.value;
    nowhere_ = std::make_unique<Nowhere>();
    codec_ = MakeBodyCodec(scratch_.info.transferEncoding, *nowhere_, reading_);
    return codec_.get();
}

bool PlaceBuilder::EndBody(bool isComplete) {
    codec_.reset();
    nowhere_.reset();
    GetPlace().end = GetOffset(reading_.cursor.GetNext());
    return isComplete;
}

void PlaceBuilder::EnterText(const std::shared_ptr<const std::string>& text) {
    GetPlace().end = GetOffset(reading_.cursor.GetNext());
    tree_.decoded.push_back(text);
    outer_.push_back(text_);
    text_ = {static_cast<uint32_t>(tree_.decoded.size()), open_.size(), text->data()};
}

void PlaceBuilder::LeaveText() noexcept {
    SetEnd(open_.back().index + 1, tree_.decoded[text_.number - 1]->size());
    text_ = outer_.back();
    outer_.pop_back();
}

/// An entity ends, and so does the message that it carries, unless that is in a text of its own. A leaf has ended with its body; but where a
/// boundary line cuts header blocks off, the last line end belongs to that line.
void PlaceBuilder::SetEnd(uint32_t index, uint64_t end) noexcept {
    for (;; ++index) {
        EntityPlace& place = tree_.places[index];
        const bool hasChildren =
            tree_.HasChildren(index) && tree_.places[index + 1].text == place.text;
        if (hasChildren) place.end = end;
        for (uint64_t* offset :
             {&place.begin, &place.fields, &place.fieldsEnd, &place.body, &place.end}) {
            *offset = std::min(*offset, end);
        }
        if (!hasChildren || !place.isMessage) return;
    }
}

void PlaceBuilder::TakeBoundaryLine(const BoundaryLine& line) {
    const std::string_view before(text_.begin, static_cast<size_t>(line.before - text_.begin));
    const uint64_t end = line.isEnd ? before.size() : TrimLineEnd(before, reading_.rules).size();
    const uint32_t closed = std::exchange(open_.back().lastChild, EntityPlace::kNone);
    if (closed != EntityPlace::kNone) SetEnd(closed, end);
    const size_t first = line.isEnd ? text_.firstOpen : line.level + 1;
    for (size_t i = first; i < open_.size(); ++i) tree_.places[open_[i].index].end = end;
}

bool PlaceBuilder::EndEntity() {
    const uint32_t index = open_.back().index;
    EntityPlace& place = tree_.places[index];
    place.subtreeEnd = static_cast<uint32_t>(tree_.places.size());
    if (place.end == 0) place.end = GetOffset(reading_.cursor.GetNext());
    open_.pop_back();
    if (!open_.empty()) open_.back().lastChild = index;
    return true;
}

std::string PlaceBuilder::GetPath() const {
    std::string path;
    for (size_t i = 0; i + 1 < open_.size(); ++i) {
        if (i != 0) path += '.';
        path += std::to_string(open_[i].children);
    }
    return path;
}

void PlaceBuilder::Finish() noexcept {
    SetEnd(0, tree_.text.size());
}

}  // namespace MIME

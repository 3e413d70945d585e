// What an entity is, where it is, and what its fields say. Everything is read from the text when it is
// asked for; only places are kept.

#include <algorithm>
#include <charconv>
#include <system_error>

#include "kivgui/ascii.h"
#include "kivgui/file.h"
#include "mime/mail/header_fields.h"
#include "mime/mail/mail.h"
#include "mime/mail/message_tree.h"
#include "mime/mail/whole.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::MakeLowerAscii;
using KivGuiBase::StartsWithCaseless;

namespace {

std::string ToString(std::string_view text) {
    return std::string(text);
}

/// The Content-Type and the Content-Disposition of an entity, as far as there are any.
class ContentFields {
public:
    ContentFields(const MessageTree& tree, uint32_t index)
        : charset_(tree.charset), isInDigest_(tree.GetPlace(index).isInDigest) {
        ReadContentFields(tree, index, headers_);
    }

    std::string GetParameter(const char* field, const char* parameter) const {
        return Decode(headers_.GetParameter(field, parameter));
    }
    std::string GetFileName() const {
        const std::string name = GetParameter("Content-Disposition", "filename");
        return !name.empty() ? name : GetParameter("Content-Type", "name");
    }
    std::string GetDisposition() const { return MakeLowerAscii(GetValue("Content-Disposition")); }
    std::string GetMediaType() const {
        const std::string type = GetValue("Content-Type");
        if (!type.empty()) return MakeLowerAscii(type);
        return isInDigest_ ? "message/rfc822" : "text/plain";
    }

private:
    std::string GetValue(const char* name) const {
        const HeaderMap::Node* const field = headers_.Find(name);
        return field != nullptr ? Decode(field->value.value) : std::string();
    }
    std::string Decode(std::string_view value) const { return DecodeRawHeader(value, charset_); }

    const TextCharset& charset_;
    const bool isInDigest_;
    HeaderMap headers_;
};

/// The first field of a name.
class Finder final : public FieldVisitor {
public:
    explicit Finder(std::string_view name) noexcept : name_(name) {}

    bool Take(const Field& field) override {
        if (!EqualsCaseless(field.name, name_)) return true;
        found_ = field;
        return false;
    }
    const std::optional<Field>& GetFound() const noexcept { return found_; }

private:
    std::string_view name_;
    std::optional<Field> found_;
};

}  // namespace

// -------------------------------------------------------------------------------- what it is --

std::string Entity::GetMediaType() const {
    return ContentFields(*tree_, index_).GetMediaType();
}

bool Entity::IsType(std::string_view type) const {
    const std::string own = GetMediaType();
    if (!type.ends_with("/*")) return EqualsCaseless(own, type);
    return StartsWithCaseless(own, type.substr(0, type.size() - 1));
}

bool Entity::HasChildren() const noexcept {
    return tree_->HasChildren(index_);
}

bool Entity::IsUuencoded() const noexcept {
    return tree_->IsUuencoded(index_);
}

bool Entity::CarriesMessage() const noexcept {
    return tree_->GetPlace(index_).isMessage && HasChildren();
}

std::string Entity::GetDisposition() const {
    return ContentFields(*tree_, index_).GetDisposition();
}

bool Entity::IsAttachment() const {
    if (HasChildren() && !CarriesMessage()) return false;
    const ContentFields fields(*tree_, index_);
    const std::string type = fields.GetMediaType();
    if (StartsWithCaseless(type, "multipart/")) return false;
    if (type != "text/plain" && type != "text/html" && type != "text") return true;
    if (fields.GetDisposition() == "attachment") return true;
    return index_ != 0 && !fields.GetFileName().empty();
}

std::string Entity::GetFileName() const {
    return ContentFields(*tree_, index_).GetFileName();
}

std::string Entity::GetSafeFileName() const {
    constexpr unsigned kMaxName = 240;  // leaves room for a number
    const ContentFields fields(*tree_, index_);
    return Whole([&] {
        AnsiStr name = fields.GetFileName();
        if (name.IsEmpty()) {
            const std::string type = fields.GetMediaType();
            AnsiStr extension;
            if (!GetExtFromTypeStr(AnsiStr(std::string_view(type)), extension)) extension = "bin";
            if (CarriesMessage()) extension = "eml";
            const std::string path = GetPath();
            name = AnsiStr(path.empty() ? "part" : "part-") + AnsiStr(std::string_view(path)) +
                   AnsiStr(".") + extension;
        }
        return ToString(KivGuiBase::MakeSafeFileName(name, kMaxName));
    });
}

bool Entity::HasExtension(std::string_view extension) const {
    const std::string name = GetFileName();
    const size_t dot = name.rfind('.');
    return dot != std::string::npos &&
           EqualsCaseless(std::string_view(name).substr(dot + 1), extension);
}

std::string Entity::GetCharset() const {
    return GetParameter("Content-Type", "charset");
}

std::string Entity::GetContentId() const {
    return ToString(TrimBrackets(GetField("Content-ID")));
}

std::string Entity::GetParameter(std::string_view field, std::string_view parameter) const {
    HeaderMap headers;
    ReadContentFields(*tree_, index_, headers);
    return Whole(
        [&] { return ToString(headers.GetParameter(AnsiStr(field), AnsiStr(parameter))); });
}

// -------------------------------------------------------------------------------- its fields --

std::vector<Field> Entity::GetFields() const {
    class Collector final : public FieldVisitor {
    public:
        bool Take(const Field& field) override {
            fields.push_back(field);
            return true;
        }
        std::vector<Field> fields;
    };
    Collector collector;
    VisitFields(*tree_, index_, collector);
    return std::move(collector.fields);
}

std::optional<Field> Entity::FindField(std::string_view name) const {
    Finder finder(name);
    VisitFields(*tree_, index_, finder, name.empty() ? '\0' : name.front());
    return finder.GetFound();
}

std::string Entity::GetField(std::string_view name) const {
    const std::optional<Field> field = FindField(name);
    return field ? field->GetText(tree_->charset) : std::string();
}

// --------------------------------------------------------------------------------- its place --

Range Entity::GetRange() const noexcept {
    const EntityPlace& place = tree_->GetPlace(index_);
    return {place.begin, place.end - place.begin};
}

Range Entity::GetHeaderRange() const noexcept {
    const EntityPlace& place = tree_->GetPlace(index_);
    return {place.fields, place.fieldsEnd - place.fields};
}

Range Entity::GetBodyRange() const noexcept {
    const EntityPlace& place = tree_->GetPlace(index_);
    return {place.body, place.end - place.body};
}

bool Entity::IsInSource() const noexcept {
    return tree_->GetPlace(index_).text == 0;
}

std::string_view Entity::GetRaw() const noexcept {
    const EntityPlace& place = tree_->GetPlace(index_);
    return tree_->Cut(place, place.begin, place.end);
}

std::string_view Entity::GetRawHeader() const noexcept {
    const EntityPlace& place = tree_->GetPlace(index_);
    return tree_->Cut(place, place.fields, place.fieldsEnd);
}

std::string_view Entity::GetRawBody() const noexcept {
    const EntityPlace& place = tree_->GetPlace(index_);
    return tree_->Cut(place, place.body, place.end);
}

std::string Entity::GetPath() const {
    std::vector<uint32_t> numbers;
    for (uint32_t i = index_; i != 0; i = tree_->GetPlace(i).parent) {
        numbers.push_back(tree_->GetPlace(i).number);
    }
    std::string path;
    while (!numbers.empty()) {
        if (!path.empty()) path += '.';
        if (numbers.size() == 1 && IsUuencoded()) path += 'u';
        path += std::to_string(numbers.back());
        numbers.pop_back();
    }
    return path;
}

std::vector<Entity> Entity::GetUuencodedFiles() const {
    std::vector<Entity> files;
    if (!tree_->HasText(index_)) return files;
    const std::vector<EntityPlace>& all = tree_->files.Find(*tree_);
    auto file = std::lower_bound(
        all.begin(), all.end(), index_,
        [](const EntityPlace& place, uint32_t parent) { return place.parent < parent; });
    for (; file != all.end() && file->parent == index_; ++file) {
        files.push_back(Entity(*tree_, file->subtreeEnd - 1));
    }
    return files;
}

EntityRange Entity::GetChildren() const noexcept {
    const uint32_t end = tree_->GetPlace(index_).subtreeEnd;
    return {tree_, std::min(index_ + 1, end), end, false};
}

EntityRange Entity::GetEntities() const noexcept {
    return {tree_, index_, tree_->GetPlace(index_).subtreeEnd, true};
}

/// The child with this number, or the uuencoded file, with "u" before its number.
std::optional<Entity> Entity::FindStep(std::string_view step) const {
    const bool isFile = step.starts_with('u');
    const char* const end = step.data() + step.size();
    uint32_t number = 0;
    const auto read = std::from_chars(step.data() + (isFile ? 1 : 0), end, number);
    if (read.ec != std::errc() || read.ptr != end || number == 0) return std::nullopt;
    if (isFile) {
        const std::vector<Entity> files = GetUuencodedFiles();
        return number <= files.size() ? std::optional(files[number - 1]) : std::nullopt;
    }
    for (const Entity& child : GetChildren()) {
        if (tree_->GetPlace(child.index_).number == number) return child;
    }
    return std::nullopt;
}

std::optional<Entity> Entity::GetParent() const noexcept {
    if (index_ == 0) return std::nullopt;
    return Entity(*tree_, tree_->GetPlace(index_).parent);
}

Entity Entity::GetRoot() const {
    if (!HasChildren() || !IsType("multipart/related")) return *this;
    const std::string start = GetParameter("Content-Type", "start");
    const std::string_view id = TrimBrackets(start);
    if (!id.empty()) {
        for (const Entity& child : GetChildren()) {
            if (child.GetContentId() == id) return child;
        }
    }
    return *GetChildren().begin();
}

EntityRange::Iterator& EntityRange::Iterator::operator++() noexcept {
    index_ = isDeep_ ? index_ + 1 : tree_->GetPlace(index_).subtreeEnd;
    return *this;
}

size_t EntityRange::size() const noexcept {
    return static_cast<size_t>(std::distance(begin(), end()));
}

}  // namespace MIME

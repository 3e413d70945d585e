#include "mime/writing/header_edit.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/mail/header_fields.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

/// Notes where the fields of a block begin.
class FieldStarts final : public FieldVisitor {
public:
    explicit FieldStarts(std::string_view block) : block_(block) {}

    bool Take(const Field& field) override {
        // A Content-Type that came apart from the text is not in the block.
        const std::less_equal<> isUpTo;
        if (isUpTo(block_.data(), field.name.data()) &&
            isUpTo(field.name.data(), block_.data() + block_.size())) {
            starts.push_back({static_cast<size_t>(field.name.data() - block_.data()), field.name});
        }
        return true;
    }

    struct Start {
        size_t offset;
        std::string_view name;
    };
    std::vector<Start> starts;

private:
    std::string_view block_;
};

}  // namespace

HeaderEdit::HeaderEdit(const MessageTree& tree, uint32_t index, std::string_view lineEnd)
    : lineEnd_(lineEnd) {
    const EntityPlace& place = tree.places[index];
    const std::string_view block = tree.Cut(place, place.fields, place.fieldsEnd);
    FieldStarts fields(block);
    VisitFields(tree, index, fields);
    size_t done = 0;
    for (const FieldStarts::Start& start : fields.starts) {
        if (start.offset < done) continue;
        if (start.offset > done) AddOthers(block.substr(done, start.offset - done));
        const size_t size = MeasureField(block.substr(start.offset));
        items_.push_back({std::string(start.name), std::string(block.substr(start.offset, size))});
        done = start.offset + size;
    }
    if (done < block.size()) AddOthers(block.substr(done));
}

void HeaderEdit::AddOthers(std::string_view lines) {
    if (items_.empty()) items_.emplace_back();
    items_.back().others += lines;
}

void HeaderEdit::Add(std::string_view name, std::string field) {
    if (!items_.empty()) {
        Item& last = items_.back();
        std::string& end = last.others.empty() ? last.text : last.others;
        if (!end.ends_with('\n')) end += lineEnd_;
    }
    items_.push_back({std::string(name), std::move(field)});
}

void HeaderEdit::Set(std::string_view name, std::string field) {
    const auto isNamed = [name](const Item& item) { return EqualsCaseless(item.name, name); };
    const auto first = std::find_if(items_.begin(), items_.end(), isNamed);
    if (first == items_.end()) return Add(name, std::move(field));
    first->text = std::move(field);
    RemoveFrom(static_cast<size_t>(first - items_.begin()) + 1, name);
}

void HeaderEdit::Remove(std::string_view name) {
    RemoveFrom(0, name);
}

void HeaderEdit::RemoveFrom(size_t begin, std::string_view name) {
    const auto first = items_.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto end = std::remove_if(
        first, items_.end(), [name](const Item& item) { return EqualsCaseless(item.name, name); });
    if (end == items_.end()) return;
    items_.erase(end, items_.end());
    for (Item& item : items_) item.others.clear();
}

bool HeaderEdit::Has(std::string_view name) const {
    return std::any_of(items_.begin(), items_.end(),
                       [name](const Item& item) { return EqualsCaseless(item.name, name); });
}

HeaderEdit::Kind HeaderEdit::GetKind(const Item& item) {
    if (KivGuiBase::StartsWithCaseless(item.name, "Content-")) return Kind::content;
    return EqualsCaseless(item.name, "MIME-Version") ? Kind::version : Kind::other;
}

std::string HeaderEdit::Join(bool (*isWanted)(Kind)) const {
    std::string text;
    for (const Item& item : items_) {
        if (item.text.empty() || !isWanted(GetKind(item))) continue;
        text += item.text;
        if (!text.ends_with('\n')) text += lineEnd_;
    }
    return text;
}

std::string HeaderEdit::GetText() const {
    std::string text;
    for (const Item& item : items_) text += item.text + item.others;
    return text;
}

std::string HeaderEdit::GetContentFields() const {
    return Join([](Kind kind) { return kind == Kind::content; });
}

std::string HeaderEdit::GetOtherFields() const {
    return Join([](Kind kind) { return kind == Kind::other; });
}

}  // namespace MIME

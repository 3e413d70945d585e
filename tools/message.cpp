#include "message.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>

#include "kivgui/ascii.h"

// Messages that were read by the mail rules, and what does not depend on the rules.

namespace Tool {

namespace {

constexpr unsigned kMaxDottedDepth = 16;

std::string MakePositionIndex(size_t position) {
    return "@" + std::to_string(position + 1);
}

class MailMessage final : public Message {
public:
    explicit MailMessage(MIME::Mail mail) : MailMessage(std::move(mail), ListEntities(mail)) {}

    bool HasChildren(size_t entity) const override { return entities_[entity].HasChildren(); }
    bool CarriesMessage(size_t entity) const override { return entities_[entity].CarriesMessage(); }

    std::vector<ShownField> GetFields(size_t entity) const override {
        std::vector<ShownField> fields;
        for (const MIME::Field& field : ListFields(entity)) {
            fields.push_back({std::string(field.name), field.GetValue(), field.GetParameters()});
        }
        return fields;
    }

    std::string GetValue(size_t entity, const char* field) const override {
        if (entities_[entity].IsUuencoded()) return GetImpliedValue(entities_[entity], field);
        const MIME::Field* const found = FindField(entity, field);
        return found != nullptr ? found->GetValue() : std::string();
    }

    std::string GetParameter(size_t entity, const char* field,
                             const char* parameter) const override {
        if (!entities_[entity].IsUuencoded()) {
            const MIME::Field* const found = FindField(entity, field);
            if (found == nullptr || found->raw.find(';') == found->raw.npos) return {};
        }
        return entities_[entity].GetParameter(field, parameter);
    }

    uint64_t GetSize(size_t entity) const override { return entities_[entity].GetDecodedSize(); }

    void Decode(size_t entity, const TakePiece& take) const override {
        const MIME::Result<void> decoded = entities_[entity].DecodeTo([&](std::string_view piece) {
            take(piece);
            return true;
        });
        if (!decoded) throw std::bad_alloc();  // nothing else stops it
    }

    std::optional<MIME::Entity> GetEntity(size_t entity) const override {
        return entities_[entity];
    }

private:
    /// @param entities  those of `mail`, which are valid when it is moved.
    MailMessage(MIME::Mail&& mail, std::vector<MIME::Entity> entities)
        : Message(Outline(entities)), mail_(std::move(mail)), entities_(std::move(entities)) {}

    /// The commands ask for several fields of an entity in a row; each walk reads its header block.
    const std::vector<MIME::Field>& ListFields(size_t entity) const {
        if (listed_ != entity) fields_ = entities_[entity].GetFields();
        listed_ = entity;
        return fields_;
    }

    const MIME::Field* FindField(size_t entity, std::string_view name) const {
        const std::vector<MIME::Field>& fields = ListFields(entity);
        const auto found = std::ranges::find_if(fields, [name](const MIME::Field& field) {
            return KivGuiBase::EqualsCaseless(field.name, name);
        });
        return found != fields.end() ? &*found : nullptr;
    }

    /// What the fields of a uuencoded file would say.
    static std::string GetImpliedValue(const MIME::Entity& file, std::string_view field) {
        if (field == "Content-Type") return file.GetMediaType();
        if (field == "Content-Transfer-Encoding") return "x-uuencode";
        return file.GetDisposition();
    }

    MIME::Mail mail_;
    std::vector<MIME::Entity> entities_;
    mutable std::vector<MIME::Field> fields_;  ///< of the entity below
    mutable size_t listed_ = SIZE_MAX;
};

}  // namespace

std::vector<MIME::Entity> ListEntities(const MIME::Mail& mail) {
    std::vector<MIME::Entity> entities;
    for (const MIME::Entity& entity : mail.GetEntities()) {
        entities.push_back(entity);
        std::ranges::copy(entity.GetUuencodedFiles(), std::back_inserter(entities));
    }
    return entities;
}

std::vector<MIME::Entity> ListAttachments(const MIME::Mail& mail) {
    constexpr size_t kMaxSearched = 0x800000;
    if (mail.GetSource().size() <= kMaxSearched) return mail.GetAttachments();
    std::vector<MIME::Entity> attachments;
    size_t inside = 0;  // how many entities are still inside a carried message that is attached
    for (const MIME::Entity& entity : mail.GetEntities()) {
        if (inside != 0) {
            --inside;
        } else if (entity.IsAttachment()) {
            attachments.push_back(entity);
            inside = entity.GetEntities().size() - 1;
        }
    }
    return attachments;
}

Outline::Outline(const MIME::Mail& mail) : Outline(ListEntities(mail)) {}

Outline::Outline(const std::vector<MIME::Entity>& entities) {
    std::vector<MIME::Entity> open;  // the entity before, and what it is inside of
    std::vector<size_t> positions;
    for (const MIME::Entity& entity : entities) {
        const std::optional<MIME::Entity> parent = entity.GetParent();
        while (!open.empty() && open.back() != parent) {
            open.pop_back();
            positions.pop_back();
        }
        Add(open.empty() ? Place::kNoParent : positions.back(), entity.IsUuencoded() ? "u" : "");
        open.push_back(entity);
        positions.push_back(GetCount() - 1);
    }
}

void Outline::Add(size_t parent, const char* mark) {
    if (parent == Place::kNoParent) return places_.push_back({parent, 0, "1"});
    Place& above = places_[parent];
    const unsigned depth = above.depth + 1;
    const unsigned number = ++above.children;
    std::string index = depth <= kMaxDottedDepth ? above.index + "." + mark + std::to_string(number)
                                                 : MakePositionIndex(GetCount());
    places_.push_back({parent, depth, std::move(index)});
}

std::optional<size_t> Outline::Find(const std::string& index) const {
    for (size_t i = 0; i < places_.size(); ++i) {
        if (places_[i].index == index || MakePositionIndex(i) == index) return i;
    }
    return std::nullopt;
}

std::string MakeIndex(std::string_view path) {
    return path.empty() ? "1" : "1." + std::string(path);
}

std::unique_ptr<Message> Message::Read(const Input& input, const Sources& sources) {
    if (sources.strict) return MakeStrictMessage(ReadStrict(input, sources));
    return std::make_unique<MailMessage>(ReadMail(input, sources));
}

std::string Message::GetFileName(size_t entity) const {
    const std::string name = GetParameter(entity, "Content-Disposition", "filename");
    return name.empty() ? GetParameter(entity, "Content-Type", "name") : name;
}

}  // namespace Tool

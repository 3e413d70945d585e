#include <limits>

#include "entity_list.h"
#include "kivgui/error.h"
#include "message.h"
#include "output.h"

// Messages that were read by the exact rules: a tree of parts, whose bodies are in memory unless one of
// them is longer than a text can be.

namespace Tool {

namespace {

std::string GetText(const MIME::HeaderMap& headers, const char* field) {
    const MIME::HeaderMap::Node* const node = headers.Find(field);
    return node != nullptr ? ToString(node->value.value) : std::string();
}

/// The one parameter that the reader itself adds, without a value.
bool IsAdded(const MIME::ParameterMap::Node& parameter) {
    return parameter.key == "filename" && parameter.value.value.IsEmpty();
}

class StrictMessage final : public Message {
public:
    StrictMessage(std::unique_ptr<MIME::Part> message, std::vector<Entity> entities)
        : Message(MakeOutline(entities)),
          message_(std::move(message)),
          entities_(std::move(entities)) {}

    bool HasChildren(size_t entity) const override { return !entities_[entity].IsLeaf(); }
    bool CarriesMessage(size_t /*entity*/) const override { return false; }

    std::vector<ShownField> GetFields(size_t entity) const override {
        std::vector<ShownField> fields;
        for (const MIME::HeaderMap::Node& node : entities_[entity].part->headers) {
            if (node.value.value.IsEmpty()) continue;  // the reader added it
            fields.push_back({ToString(node.key), ToString(node.value.value), {}});
            for (const MIME::ParameterMap::Node& one : node.value.parameters) {
                if (IsAdded(one)) continue;
                fields.back().parameters.push_back({ToString(one.key), ToString(one.value.value)});
            }
        }
        return fields;
    }

    std::string GetValue(size_t entity, const char* field) const override {
        return GetText(entities_[entity].part->headers, field);
    }

    std::string GetParameter(size_t entity, const char* field,
                             const char* parameter) const override {
        return ToString(entities_[entity].part->headers.GetParameter(field, parameter));
    }

    uint64_t GetSize(size_t entity) const override {
        const MIME::Data& data = entities_[entity].part->data;
        if (!data.content.IsEmpty()) return data.content.GetLength();
        return data.file.GetPath().IsEmpty() ? 0 : static_cast<uint64_t>(data.file.GetSize());
    }

    void Decode(size_t entity, const TakePiece& take) const override {
        const MIME::Data& data = entities_[entity].part->data;
        if (!data.content.IsEmpty()) {
            take(data.content);
        } else if (!data.file.GetPath().IsEmpty()) {
            ReadPieces(data.file, take);
        }
    }

    std::optional<MIME::Entity> GetEntity(size_t /*entity*/) const override { return {}; }

private:
    static Outline MakeOutline(const std::vector<Entity>& entities) {
        Outline outline;
        for (const Entity& entity : entities) outline.Add(entity.parent);
        return outline;
    }

    std::unique_ptr<MIME::Part> message_;
    std::vector<Entity> entities_;
};

}  // namespace

std::unique_ptr<MIME::Part> ReadStrict(const Input& input, const Sources& sources,
                                       MIME::ReadReport* report) {
    MIME::ReadOptions options;
    options.bodies = MIME::Bodies::memory;
    options.memoryLimit = std::numeric_limits<unsigned>::max();
    options.ownFiles = options.removeFilesOnFailure = true;
    auto message = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    if (message->Read(input.text.data(), input.text.size(), error, options, report,
                      sources.contentType ? sources.contentType->c_str() : nullptr)) {
        return message;
    }
    throw InputFailure(input.name, error.IsEmpty() ? GetLastReason() : ToString(error));
}

std::unique_ptr<Message> MakeStrictMessage(std::unique_ptr<MIME::Part> message) {
    std::vector<Entity> entities = ListEntities(*message);
    return std::make_unique<StrictMessage>(std::move(message), std::move(entities));
}

}  // namespace Tool

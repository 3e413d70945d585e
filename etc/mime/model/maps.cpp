#include "mime/mime.h"

namespace MIME {

bool HeaderMap::CopyFrom(const HeaderMap& source) noexcept {
    if (&source == this) return true;
    for (const Node& field : source) {
        Node* copy = FindOrInsert(field.key);
        if (copy == nullptr) return false;
        copy->value.value = field.value.value;
        copy->value.parameters.Clear();
        if (!copy->value.parameters.CopyFrom(field.value.parameters)) return false;
    }
    return true;
}

AnsiStr HeaderMap::GetParameter(const AnsiStr& field, const AnsiStr& parameter) const noexcept {
    const Node* const node = Find(field);
    const ParameterMap::Node* const found =
        node != nullptr ? node->value.parameters.Find(parameter) : nullptr;
    return found != nullptr ? found->value.value : AnsiStr();
}

bool ParameterMap::CopyFrom(const ParameterMap& source) noexcept {
    if (&source == this) return true;
    for (const Node& parameter : source) {
        Node* copy = FindOrInsert(parameter.key);
        if (copy == nullptr) return false;
        copy->value = parameter.value;
    }
    return true;
}

}  // namespace MIME

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

}  // namespace MIME

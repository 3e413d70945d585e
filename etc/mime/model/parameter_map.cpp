#include "mime/mime.h"

namespace MIME {

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

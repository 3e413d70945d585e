#include "mime/foundation/guarded.h"
#include "mime/mime.h"

namespace MIME {

// Keys and values are handles, so an entry fails as a whole or not at all.

bool HeaderMap::CopyFrom(const HeaderMap& source) noexcept {
    if (&source == this) return true;
    return Guarded(false, [&] {
        for (const Node& field : source) {
            Node* copy = FindOrInsert(field.key);
            if (copy == nullptr) return false;
            copy->value.value = field.value.value;
            copy->value.parameters.Clear();
            if (!copy->value.parameters.CopyFrom(field.value.parameters)) return false;
        }
        return true;
    });
}

AnsiStr HeaderMap::GetParameter(const AnsiStr& field, const AnsiStr& parameter) const noexcept {
    return GetParameter(field.GetStr(), parameter.GetStr());
}

bool ParameterMap::CopyFrom(const ParameterMap& source) noexcept {
    if (&source == this) return true;
    return Guarded(false, [&] {
        for (const Node& parameter : source) {
            Node* copy = FindOrInsert(parameter.key);
            if (copy == nullptr) return false;
            copy->value = parameter.value;
        }
        return true;
    });
}

}  // namespace MIME

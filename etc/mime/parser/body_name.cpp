#include "mime/parser/body_name.h"

namespace MIME {

namespace {

/// Stands in for a field that could not be added.
const AnsiStr& GetNoValue() noexcept {
    static const AnsiStr none;
    return none;
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

}  // namespace

const AnsiStr& GetContentID(HeaderMap& headers) noexcept {
    const HeaderMap::Node* field = headers.FindOrInsert("Content-ID");
    return field != nullptr ? field->value.value : GetNoValue();
}

File MakeBodyFile(HeaderMap& headers) noexcept {
    AnsiStr name = GetFileName(headers);
    if (name.IsEmpty()) name = MakeNameFromType(headers);
    return File(KivGuiBase::FileType::temporary, AnsiStr("mimeio-") + name, true);
}

}  // namespace MIME

#include "mime/parser/header_source.h"

namespace MIME {

bool HeaderSource::Add(std::string_view name, std::string_view value) noexcept {
    const char* end = value.data() + value.size();
    if (end - begin_ > static_cast<std::ptrdiff_t>(AnsiStr::kMaxLength)) return false;
    return fields_.places_.Add({GetOffset(name.data()), GetOffset(name.data() + name.size()),
                                GetOffset(value.data()), GetOffset(end)});
}

bool HeaderSource::Finish(const char* end) noexcept {
    const auto size = static_cast<size_t>(end - begin_);
    if (size > AnsiStr::kMaxLength) return false;
    fields_.text_ = AnsiStr(begin_, static_cast<unsigned>(size));
    return fields_.text_.GetLength() == size;
}

}  // namespace MIME

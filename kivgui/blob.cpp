#include "kivgui/blob.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "kivgui/memory.h"

namespace KivGuiBase {

Blob::Imp* Blob::Imp::Init(uint32_t capacity, uint32_t size, const void* src,
                           uint32_t srcSize) noexcept {
    void* block = Allocate(sizeof(Imp) + size_t{capacity});
    if (block == nullptr) return nullptr;
    Imp* imp = new (block) Imp;
    imp->capacity = capacity;
    imp->size = size;
    if (src != nullptr && srcSize != 0) std::memcpy(imp->GetBytes(), src, srcSize);
    return imp;
}

void Blob::Imp::Free(Imp* imp) noexcept {
    imp->~Imp();
    std::free(imp);
}

char* Blob::Renew(unsigned size) noexcept {
    if (IsWritable(size)) {
        imp_->size = size;
    } else {
        Adopt(Imp::Init(size, size, nullptr, 0));
        if (imp_ == nullptr) return nullptr;
    }
    return imp_->GetBytes();
}

bool Blob::Resize(unsigned size) noexcept {
    if (IsWritable(size)) {
        imp_->size = size;
        return true;
    }
    Imp* imp = Imp::Init(size, size, GetData(), std::min(size, GetSize()));
    if (imp == nullptr) return false;
    Adopt(imp);
    return true;
}

}  // namespace KivGuiBase

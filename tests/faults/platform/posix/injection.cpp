// The functions that the linker calls instead of the C library's (--wrap), and operator new.

#include <execinfo.h>
#include <fcntl.h>
#include <iconv.h>
#include <openssl/crypto.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "faults/faults.h"

extern "C" {
void* __real_malloc(size_t size);
void __real_free(void* block);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* buffer, size_t size);
ssize_t __real_write(int file, const void* data, size_t size);
int __real_close(int file);
void* __real_mmap(void* start, size_t size, int protection, int flags, int file, off_t offset);
int __real_munmap(void* start, size_t size);
int __real_unlink(const char* path);
int __real_stat(const char* path, struct stat* status);
int __real_fstat(int file, struct stat* status);
int __real_getentropy(void* buffer, size_t size);
iconv_t __real_iconv_open(const char* to, const char* from);
}

namespace MIME::Faults {

namespace {
Injection storage;
}
constinit Injection* injection = &storage;

namespace {

constinit thread_local bool isArmed = false;

constexpr int kErrors[] = {
#define FAULT_KIND(key, text, error, code, mustSucceed) error,
#include "faults/kinds.inc"
};

/// Counts a call; returns whether it is to fail, with the error number set.
bool Fails(Kind kind) noexcept {
    if (!isArmed) return false;
    ++injection->calls[kind];
    const bool isFirst = kind == injection->kind && injection->calls[kind] == injection->n;
    const bool isMemory = kind <= cryptography && injection->kind <= cryptography;
    const bool isLater = injection->isLasting && injection->hasFired &&
                         (kind == injection->kind || isMemory);
    if (!isFirst && !isLater) return false;
    if (isFirst) {
        injection->hasFired = true;
        injection->frameCount = backtrace(injection->frames, static_cast<int>(std::size(injection->frames)));
    }
    errno = kErrors[kind];
    return true;
}

/// Before every block, so that we know whose it is when it is given back.
struct alignas(std::max_align_t) BlockHead {
    static constexpr uint32_t kInUse = 0xA110CA7E, kFreed = 0xDEADDEAD;
    size_t size;
    uint32_t state;
    uint32_t isCounted;
};

void* Allocate(Kind kind, size_t size) noexcept {
    if (Fails(kind)) return nullptr;
    auto* head = static_cast<BlockHead*>(__real_malloc(sizeof(BlockHead) + size));
    if (head == nullptr) return nullptr;
    *head = {size, BlockHead::kInUse, isArmed};
    injection->blocks += isArmed;
    return head + 1;
}

/// What is used after it is given back is not what it was.
void Free(void* block) noexcept {
    if (block == nullptr) return;
    BlockHead* head = static_cast<BlockHead*>(block) - 1;
    if (head->state != BlockHead::kInUse) std::abort();
    injection->blocks -= static_cast<long>(head->isCounted);
    std::memset(block, 0xDD, head->size);
    head->state = BlockHead::kFreed;
    __real_free(head);
}

void* Reallocate(Kind kind, void* block, size_t size) noexcept {
    if (block == nullptr) return Allocate(kind, size);
    void* larger = Allocate(kind, size);  // always at another place
    if (larger == nullptr) return nullptr;
    std::memcpy(larger, block, std::min(size, (static_cast<BlockHead*>(block) - 1)->size));
    Free(block);
    return larger;
}

}  // namespace

void Arm() noexcept {
    isArmed = true;
}
void Disarm() noexcept {
    isArmed = false;
}

void InjectIntoCryptography() {
    CRYPTO_set_mem_functions(
        [](size_t size, const char*, int) { return Allocate(cryptography, size); },
        [](void* block, size_t size, const char*, int) {
            return Reallocate(cryptography, block, size);
        },
        [](void* block, const char*, int) { Free(block); });
}

extern "C" {

void* __wrap_malloc(size_t size) {
    return Allocate(allocation, size);
}
void* __wrap_realloc(void* block, size_t size) {
    return Reallocate(reallocation, block, size);
}
void __wrap_free(void* block) {
    Free(block);
}

int __wrap_open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);  // the library always passes one
    va_end(rest);
    if (Fails(opening) || Fails(interruption)) return -1;
    const int file = __real_open(path, flags, mode);
    if (isArmed && file >= 0) ++injection->files;
    return file;
}

ssize_t __wrap_read(int file, void* buffer, size_t size) {
    if (Fails(reading) || Fails(interruption)) return -1;
    return __real_read(file, buffer, size > 1 && Fails(shortRead) ? size / 2 : size);
}

ssize_t __wrap_write(int file, const void* data, size_t size) {
    if (Fails(writing) || Fails(interruption)) return -1;
    return __real_write(file, data, size > 1 && Fails(shortWrite) ? size / 2 : size);
}

// As on Linux the file is closed in any case.
int __wrap_close(int file) {
    const bool fails = Fails(closing);
    const int result = __real_close(file);
    if (isArmed && result == 0) --injection->files;
    if (isArmed && result != 0) injection->hasBadClose = true;
    if (fails) errno = kErrors[closing];
    return fails ? -1 : result;
}

void* __wrap_mmap(void* start, size_t size, int protection, int flags, int file, off_t offset) {
    if (Fails(mapping)) return MAP_FAILED;
    if (isArmed) ++injection->maps;
    return __real_mmap(start, size, protection, flags, file, offset);
}

int __wrap_munmap(void* start, size_t size) {
    if (isArmed) --injection->maps;
    return __real_munmap(start, size);
}

int __wrap_unlink(const char* path) {
    return Fails(removing) ? -1 : __real_unlink(path);
}
int __wrap_stat(const char* path, struct stat* status) {
    return Fails(asking) ? -1 : __real_stat(path, status);
}
int __wrap_fstat(int file, struct stat* status) {
    return Fails(asking) ? -1 : __real_fstat(file, status);
}
int __wrap_getentropy(void* buffer, size_t size) {
    return Fails(drawing) ? -1 : __real_getentropy(buffer, size);
}
iconv_t __wrap_iconv_open(const char* to, const char* from) {
    return Fails(charset) ? reinterpret_cast<iconv_t>(-1) : __real_iconv_open(to, from);
}

}  // extern "C"

void* New(size_t size) {
    if (void* block = Allocate(newObject, size)) return block;
    throw std::bad_alloc();
}
void Delete(void* block) noexcept {
    Free(block);
}

}  // namespace MIME::Faults

void* operator new(size_t size) {
    return MIME::Faults::New(size);
}
void operator delete(void* block) noexcept {
    MIME::Faults::Delete(block);
}
void operator delete(void* block, size_t /*size*/) noexcept {
    MIME::Faults::Delete(block);
}

// The functions that the linker calls instead of the C library's (--wrap), and operator new.

#include <execinfo.h>
#include <iconv.h>
#include <openssl/crypto.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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
}

namespace MIME::Faults {

namespace {

Injection none;
constinit thread_local bool isArmed = false;

constexpr int kErrors[] = {
#define FAULT_KIND(key, text, error, code, mustSucceed) error,
#include "faults/kinds.inc"
};

/// Counts a call; returns whether it is to fail, with the error number set.
bool Fails(Kind kind) noexcept {
    Injection& now = *injection;
    if (!isArmed || now.isOver) return false;
    ++now.calls[kind];
    const bool isIt = kind == now.kind && now.calls[kind] == now.n;
    const bool isAlike = kind == now.kind || std::max(kind, now.kind) <= cryptography;
    if (!isIt && !(now.isLasting && now.hasFired && isAlike)) return false;
    if (isIt) now.frameCount = backtrace(now.frames, static_cast<int>(std::size(now.frames)));
    now.hasFired = true;
    errno = kErrors[kind];
    return true;
}

/// Before every block, so that we know whose it is when it is given back.
struct alignas(std::max_align_t) Head {
    static constexpr uint32_t kInUse = 0xA110CA7E;
    size_t size;
    uint32_t state;
    Kind owner;  ///< kKinds for a block that was not made by the library
};

void Count(Kind owner, long change) noexcept {
    if (owner != kKinds)
        (owner == cryptography ? injection->cryptographyBlocks : injection->blocks) += change;
}

void* Allocate(Kind kind, size_t size) noexcept {
    void* block = Fails(kind) ? nullptr : __real_malloc(sizeof(Head) + size);
    if (block == nullptr) return nullptr;
    Head* head = new (block) Head{size, Head::kInUse, isArmed ? kind : kKinds};
    Count(head->owner, 1);
    return head + 1;
}

/// The block is filled, so that nobody finds in it what was there.
void Free(void* block) noexcept {
    if (block == nullptr) return;
    Head* head = static_cast<Head*>(block) - 1;
    if (head->state != Head::kInUse) std::abort();
    Count(head->owner, -1);
    std::memset(static_cast<void*>(head), 0xDD, sizeof(Head) + head->size);
    __real_free(head);
}

/// Always moves the block.
void* Reallocate(Kind kind, void* block, size_t size) noexcept {
    void* moved = Allocate(kind, size);
    if (moved == nullptr || block == nullptr) return moved;
    std::memcpy(moved, block, std::min(size, (static_cast<Head*>(block) - 1)->size));
    Free(block);
    return moved;
}

}  // namespace

constinit Injection* injection = &none;

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

int __wrap_open(const char* path, int flags, mode_t mode) {
    const int file = Fails(opening) || Fails(interruption) ? -1 : __real_open(path, flags, mode);
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
// As on Linux, the file is closed in any case.
int __wrap_close(int file) {
    const int result = __real_close(file);
    if (isArmed && result != 0) injection->hasBadClose = true;
    if (isArmed) --injection->files;
    return Fails(closing) ? -1 : result;
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

#define WRAP(type, name, kind, failure, parameters, ...)           \
    type __real_##name parameters;                                 \
    type __wrap_##name parameters {                                \
        return Fails(kind) ? failure : __real_##name(__VA_ARGS__); \
    }
WRAP(int, unlink, removing, -1, (const char* path), path)
WRAP(int, fsync, flushing, -1, (int file), file)
WRAP(int, fchmod, permitting, -1, (int file, mode_t mode), file, mode)
WRAP(int, rename, renaming, -1, (const char* from, const char* to), from, to)
WRAP(ssize_t, readlink, asking, -1, (const char* path, char* text, size_t size), path, text, size)
WRAP(int, stat, asking, -1, (const char* path, struct stat* status), path, status)
WRAP(int, fstat, asking, -1, (int file, struct stat* status), file, status)
WRAP(int, getentropy, drawing, -1, (void* buffer, size_t size), buffer, size)
WRAP(iconv_t, iconv_open, charset, iconv_t(-1), (const char* to, const char* from), to, from)

}  // extern "C"

static void* New(size_t size) {
    if (void* block = Allocate(newObject, size)) return block;
    throw std::bad_alloc();
}

}  // namespace MIME::Faults

void* operator new(size_t size) {
    return MIME::Faults::New(size);
}
void operator delete(void* block) noexcept {
    MIME::Faults::__wrap_free(block);
}
void operator delete(void* block, size_t /*size*/) noexcept {
    MIME::Faults::__wrap_free(block);
}

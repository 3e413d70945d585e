#include "kivgui/platform/posix/system.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "kivgui/platform/platform.h"

// Errors of the system: one table from errno to the nearest code of Windows, another from such a
// code to a sentence.

namespace KivGuiBase::Platform {

namespace {

struct Row {
    int error;
    uint32_t code;
};

constexpr Row kCodes[] = {
    {EPERM, kErrorAccessDenied},      {ENOENT, kErrorFileNotFound},
    {EINTR, kErrorOperationAborted},  {EIO, kErrorIoDevice},
    {EBADF, kErrorInvalidHandle},     {ENOMEM, kErrorNotEnoughMemory},
    {EACCES, kErrorAccessDenied},     {EBUSY, kErrorBusy},
    {EEXIST, kErrorFileExists},       {ENOTDIR, kErrorPathNotFound},
    {EISDIR, kErrorAccessDenied},     {EINVAL, kErrorInvalidParameter},
    {ENFILE, kErrorTooManyOpenFiles}, {EMFILE, kErrorTooManyOpenFiles},
    {ETXTBSY, kErrorAccessDenied},    {EFBIG, kErrorFileTooLarge},
    {ENOSPC, kErrorDiskFull},         {EROFS, kErrorWriteProtect},
    {EPIPE, kErrorBrokenPipe},        {ENAMETOOLONG, kErrorNameTooLong},
    {ENOSYS, kErrorNotSupported},     {ELOOP, kErrorCantResolveName},
    {EOPNOTSUPP, kErrorNotSupported}, {EDQUOT, kErrorQuotaExceeded},
    {EOVERFLOW, kErrorFileTooLarge},
};

struct Text {
    uint32_t code;
    const char* text;
};

constexpr Text kTexts[] = {
    {kErrorNone, "No error"},
    {kErrorInvalidFunction, "Not a plain file"},
    {kErrorFileNotFound, "No such file or folder"},
    {kErrorPathNotFound, "A folder of the path does not exist"},
    {kErrorTooManyOpenFiles, "Too many open files"},
    {kErrorAccessDenied, "Access denied"},
    {kErrorInvalidHandle, "The file is not open"},
    {kErrorNotEnoughMemory, "Not enough memory"},
    {kErrorInvalidData, "Invalid data"},
    {kErrorWriteProtect, "The file system is read-only"},
    {kErrorGeneralFailure, "The system reported a failure"},
    {kErrorNotSupported, "Not supported here"},
    {kErrorFileExists, "The file exists already"},
    {kErrorInvalidPassword, "The pass phrase is not the right one"},
    {kErrorInvalidParameter, "Invalid parameter"},
    {kErrorBrokenPipe, "The other end of the pipe is closed"},
    {kErrorDiskFull, "No space left on the disk"},
    {kErrorBusy, "The file is in use"},
    {kErrorNameTooLong, "The file name is too long"},
    {kErrorFileTooLarge, "The file would be too large"},
    {kErrorOperationAborted, "The operation was interrupted"},
    {kErrorIoDevice, "Input or output error"},
    {kErrorQuotaExceeded, "The disk quota is used up"},
    {kErrorCantResolveName, "Too many links, or a link where none is allowed"},
    {kErrorStringOverflow, "The text would pass 4 GiB"},
    {kErrorOutOfMemory, "Not enough memory, or nothing to work on"},
    {kErrorBadKey, "The private key belongs to none of the certificates beside it"},
    {kErrorBadAlgorithm, "This kind of key cannot sign messages here"},
    {kErrorNoKey, "The file has no private key"},
    {kErrorSigningFailed, "The cryptography library could not make the signature"},
    {kErrorNoSigning, "The library was built without signing"},
    {kErrorBadEncoding, "The file is neither PEM nor PKCS#12, or is damaged"},
    {kErrorNoCertificate, "The file has no certificate"},
    {kErrorCertificateExpired, "The certificate has expired or is not valid yet"},
    {kErrorCertificateUsage, "The certificate is not meant for signing mail"},
};

}  // namespace

bool FailWithSystemError() noexcept {
    const int error = errno;
    const Row* row = std::find_if(std::begin(kCodes), std::end(kCodes),
                                  [error](const Row& known) { return known.error == error; });
    SetLastError(row != std::end(kCodes) ? row->code : uint32_t{kErrorGeneralFailure});
    return false;
}

AnsiStr GetErrorText(uint32_t code) noexcept {
    for (const Text& row : kTexts) {
        if (row.code == code) return row.text;
    }
    return {};
}

void UseLargePages(void* memory, size_t size) noexcept {
#ifdef MADV_HUGEPAGE
    (void)madvise(memory, size, MADV_HUGEPAGE);
#else
    (void)memory;
    (void)size;
#endif
}

}  // namespace KivGuiBase::Platform

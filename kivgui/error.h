#pragma once

#include <cstdint>

#include "kivgui/export.h"

namespace KivGuiBase {

class AnsiStr;

/// Last-error codes. They are the numbers that Windows uses, on every platform, so that a host
/// can compare them; a POSIX errno becomes the nearest one.
enum ErrorCode : uint32_t {
    kErrorNone = 0,
    kErrorInvalidFunction = 1,
    kErrorFileNotFound = 2,
    kErrorPathNotFound = 3,
    kErrorTooManyOpenFiles = 4,
    kErrorAccessDenied = 5,
    kErrorInvalidHandle = 6,
    kErrorNotEnoughMemory = 8,
    kErrorInvalidData = 13,  ///< also: a memory file would pass 64 bits
    kErrorWriteProtect = 19,
    kErrorGeneralFailure = 31,
    kErrorNotSupported = 50,
    kErrorFileExists = 80,
    kErrorInvalidPassword = 86,  ///< the pass phrase does not open the key
    kErrorInvalidParameter = 87,
    kErrorBrokenPipe = 109,
    kErrorDiskFull = 112,
    kErrorBusy = 170,
    kErrorNameTooLong = 206,
    kErrorFileTooLarge = 223,
    kErrorOperationAborted = 995,
    kErrorIoDevice = 1117,
    kErrorQuotaExceeded = 1295,
    kErrorCantResolveName = 1921,
    kErrorStringOverflow = 0x8002000A,  ///< a text would pass 0xFFFFFFFF characters
    kErrorOutOfMemory = 0x8007000E,
    // For the keys and certificates that sign messages; docs/signing.md says when they occur and
    // what to do.
    kErrorBadKey = 0x80090003,              ///< NTE_BAD_KEY: no certificate belongs to the key
    kErrorBadAlgorithm = 0x80090008,        ///< NTE_BAD_ALGID: a kind of key that cannot sign
    kErrorNoKey = 0x8009000D,               ///< NTE_NO_KEY
    kErrorSigningFailed = 0x80090020,       ///< NTE_FAIL: the cryptography gave no reason
    kErrorNoSigning = 0x80090029,           ///< NTE_NOT_SUPPORTED: the library was built without it
    kErrorBadEncoding = 0x80092002,         ///< CRYPT_E_BAD_ENCODE: neither PEM nor PKCS#12
    kErrorNoCertificate = 0x80092009,       ///< CRYPT_E_NO_MATCH
    kErrorCertificateExpired = 0x800B0101,  ///< CERT_E_EXPIRED: or not valid yet
    kErrorCertificateUsage = 0x800B0110,    ///< CERT_E_WRONG_USAGE: not for signing mail
};

/// The calling thread's last-error code. File operations set it when they fail and leave it
/// alone when they succeed. Every thread has its own; it starts at 0. On Windows it is the code of
/// the system's function of the same name.
KIV_EXPORT uint32_t GetLastError() noexcept;
KIV_EXPORT void SetLastError(uint32_t code) noexcept;

/// A sentence for a last-error code, without a line end: the system's own text on Windows, the
/// text of our table elsewhere. A code without a text gives "Error 0x...". The two language
/// numbers (0 and 1: neutral, default sub-language) have no effect. Empty when memory runs out.
KIV_EXPORT AnsiStr GetErrorMessage(unsigned long code, unsigned short language,
                                   unsigned short subLanguage);

/// The longest text of an error-message slot, in bytes.
inline constexpr unsigned kMaxErrorMessage = 2048;

/// The first stores a text in the calling thread's error-message slot, the second reads it. A text
/// that is longer than the slot is cut before the first UTF-8 character that does not fit.
KIV_EXPORT void SetErrorMessage(const AnsiStr& text);
KIV_EXPORT AnsiStr GetStoredErrorMessage();

/// Prints the formatted message to standard error and ends the process. Only for broken invariants,
/// which no caller and no message can cause.
[[noreturn]] KIV_EXPORT void DebugAbort(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

}  // namespace KivGuiBase

#include <cstring>
#include <string_view>

#include "kivsec/platform/windows/signer.h"

// Imports a PKCS#12 file. Windows does so in memory; Wine does not know the flags for it, fails
// without a reason, and gets a second try by way of a key container (container.cpp). If that gives
// no reason either, it is found out from the file itself (pkcs12_reason.cpp).

namespace KivOssSec::CryptoApi {

namespace {

using KivGuiBase::AnsiStr;

/// A pass phrase as the system expects it, in memory that is wiped.
class WidePassPhrase {
public:
    /// A text that is not of that code page gives one unit for each byte.
    bool Set(const char* text, UINT codePage) noexcept {
        const size_t size = std::strlen(text);
        if (size > kMaxLength) return Fail(KivGuiBase::kErrorInvalidPassword);
        if (!memory_.Renew((size + 1) * sizeof(wchar_t))) return false;
        auto* const wide = reinterpret_cast<wchar_t*>(memory_.GetData());
        const int room = static_cast<int>(size + 1);
        if (MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text, -1, wide, room) == 0) {
            for (size_t i = 0; i <= size; ++i) wide[i] = static_cast<unsigned char>(text[i]);
        }
        return true;
    }
    const wchar_t* GetText() const noexcept {
        return reinterpret_cast<const wchar_t*>(memory_.GetData());
    }

private:
    static constexpr size_t kMaxLength = 0x100000;
    SecretBytes memory_;
};

/// Imports a file with a pass phrase.
using Importer = bool (*)(CRYPT_DATA_BLOB& bytes, const wchar_t* passPhrase, KeyFile& file,
                          DWORD& systemError) noexcept;

/// The keys stay in memory; nothing of the file is stored in the user's key store.
bool ReadIntoMemory(CRYPT_DATA_BLOB& bytes, const wchar_t* passPhrase, KeyFile& file,
                    DWORD& systemError) noexcept {
    ::SetLastError(ERROR_SUCCESS);
    file.certificates.reset(
        PFXImportCertStore(&bytes, passPhrase, PKCS12_NO_PERSIST_KEY | PKCS12_ALWAYS_CNG_KSP));
    systemError = ::GetLastError();
    return file.certificates != nullptr;
}

bool Import(Importer importer, CRYPT_DATA_BLOB& bytes, const WidePassPhrase& passPhrase,
            KeyFile& file, DWORD& systemError) noexcept {
    const wchar_t* const text = passPhrase.GetText();
    // An empty pass phrase is stored in one of two ways: as an empty text, or as none (null).
    return importer(bytes, text, file, systemError) ||
           (*text == L'\0' && importer(bytes, nullptr, file, systemError));
}

bool FailToImport(DWORD systemError) noexcept {
    switch (static_cast<uint32_t>(systemError)) {
        case ERROR_INVALID_PASSWORD:
            return Fail(KivGuiBase::kErrorInvalidPassword);
        case static_cast<uint32_t>(NTE_NOT_SUPPORTED):
        case static_cast<uint32_t>(NTE_BAD_ALGID):
            return Fail(KivGuiBase::kErrorBadAlgorithm);
        default:
            return Fail(systemError);
    }
}

}  // namespace

bool ReadPkcs12(SecretBytes& bytes, const AnsiStr& passPhrase, KeyFile& file) noexcept {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(bytes.GetSize()),
                         reinterpret_cast<BYTE*>(bytes.GetData())};
    if (!PFXIsPFXBlob(&blob)) {
        const std::string_view text(bytes.GetData(), bytes.GetSize());
        const bool isPem = text.find("-----BEGIN ") != text.npos;
        return Fail(isPem ? KivGuiBase::kErrorNotSupported : KivGuiBase::kErrorBadEncoding);
    }
    WidePassPhrase wide;
    if (!wide.Set(passPhrase.GetStr(), CP_UTF8)) return false;
    DWORD systemError = 0;
    if (Import(&ReadIntoMemory, blob, wide, file, systemError)) return true;
    // Only Wine gives no reason. It also converts a pass phrase to the ANSI code page and uses the
    // bytes as UTF-8, so it gets UTF-8 bytes widened by that code page.
    if (systemError == ERROR_SUCCESS) {
        if (!wide.Set(passPhrase.GetStr(), CP_ACP)) return false;
        if (Import(&ReadIntoContainer, blob, wide, file, systemError)) return true;
        if (systemError == ERROR_SUCCESS) {
            return wide.Set(passPhrase.GetStr(), CP_UTF8) && Fail(FindReason(blob, wide.GetText()));
        }
    }
    return FailToImport(systemError);
}

}  // namespace KivOssSec::CryptoApi

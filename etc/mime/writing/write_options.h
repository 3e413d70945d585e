#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kivgui/file.h"

namespace MIME {

/// How Part::Save, Part::SaveTo and Part::SaveToString write. A plain value.
struct WriteOptions {
    /// Adds Date (the current time) and Message-ID to the top where they are missing (RFC 5322,
    /// 3.6). The Message-ID has the domain of From, or else "localhost.invalid". MIME-Version and
    /// Content-Type are always added.
    bool isCompleted = true;

    /// Signs the written mail as S/MIME (RFC 8551): a file with a key and its certificates, PEM or
    /// PKCS#12 (only PKCS#12 on Windows). Without it nothing is signed.
    KivGuiBase::File signer = {};
    std::string passPhrase = {};  ///< of that file; the library wipes its copies, not this one

    /// For tests: the same tree gives the same text. Boundaries and identifiers are made from the
    /// seed, and an added Date is the start of 1970.
    std::optional<uint64_t> seed = {};
};

}  // namespace MIME

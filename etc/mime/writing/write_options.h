#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kivgui/file.h"

namespace MIME {

/// How Part::Save, Part::SaveTo and Part::SaveToString write. A plain value.
struct WriteOptions {
    /// Adds Date, the current time, and Message-ID to the top where they are missing (RFC 5322, 3.6). The
    /// Message-ID has the domain of From, or else "localhost.invalid". MIME-Version and Content-Type
    /// are added in any case.
    bool isCompleted = true;

    /// Signs what is written as S/MIME (RFC 8551): a file with a key and its certificates, PEM or
    /// PKCS#12 (only PKCS#12 on Windows). Without one nothing is signed.
    KivGuiBase::File signer = {};
    std::string passPhrase = {};  ///< of that file; copies of it are wiped from memory, this is not

    /// For tests: the same tree gives the same text. Boundaries and identifiers are made from it, and the
    /// Date that is added is the start of 1970.
    std::optional<uint64_t> seed = {};
};

}  // namespace MIME

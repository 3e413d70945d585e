#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace MIME {

/// Makes texts that nothing else contains, for boundaries and identifiers.
class UniqueText {
public:
    /// @param seed  the same texts on every run, for tests; without it nobody can predict them.
    explicit UniqueText(std::optional<uint64_t> seed = {}) noexcept : seed_(seed) {}

    /// 32 hexadecimal digits. Throws WriteFailure when the system gives no random numbers.
    std::string Make();
    /// A boundary (RFC 2046, 5.1.1). No encoded body has "=_" in it.
    std::string MakeBoundary() { return "=_" + Make(); }

private:
    std::optional<uint64_t> seed_;
};

}  // namespace MIME

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "mime/read_options.h"

namespace MIME {

/// The limits of ReadOptions, and what one reading has used of them.
///
/// Each check returns false, with a message in the reader's error text, once its limit is passed.
class Limits {
public:
    enum class Kind { none, depth, parts, fields, headerBytes, decodedBytes };

    Limits(const ReadOptions& options, AnsiStr& error) noexcept
        : options_(options), error_(error) {}

    /// One more entity.
    bool CountPart() noexcept;
    /// @param levels  entities around the next one: the nesting limit is checked here.
    bool CheckDepth(size_t levels) noexcept;
    /// @param bytes, fields  of the header block so far.
    bool CheckHeader(unsigned long long bytes, unsigned fields) noexcept;
    /// Bytes that a header block of `used` bytes may still grow by; UINT64_MAX without a limit.
    unsigned long long GetHeaderRoom(unsigned long long used) const noexcept {
        if (options_.maxHeaderBytes == 0) return UINT64_MAX;
        return options_.maxHeaderBytes - std::min(used, options_.maxHeaderBytes);
    }
    /// More bytes of a body. The only check without a message: the body is still being written.
    bool CountDecoded(unsigned long long bytes) noexcept;
    bool FailDecoded() noexcept;

    /// The limit that was passed, if any.
    Kind GetPassed() const noexcept { return passed_; }

private:
    bool Fail(Kind kind, const char* what, unsigned long long limit) noexcept;

    const ReadOptions& options_;
    AnsiStr& error_;
    Kind passed_ = Kind::none;
    unsigned parts_ = 0;
    unsigned long long decoded_ = 0;
};

}  // namespace MIME

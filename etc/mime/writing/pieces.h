#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "mime/writing/body_source.h"

/// What the steps between a body and its encoded text share: texts that come and go in pieces of any
/// size.
namespace MIME {

/// Hands a text that comes in pieces to a step which must look ahead, so that the result does not
/// depend on where the pieces end.
///
/// The step is called with a text and whether it is the last, and returns how many bytes it has taken
/// from its start: all of the last one, and of any other all but at most `lookAhead`.
template <class Step>
class PieceJoiner {
public:
    PieceJoiner(size_t lookAhead, Step step) : lookAhead_(lookAhead), step_(std::move(step)) {}

    void Add(std::string_view piece) {
        if (!kept_.empty()) {
            // With twice as much as can be left, the step takes all that was kept.
            const size_t before = kept_.size();
            kept_ += piece.substr(0, 2 * lookAhead_);
            const size_t taken = step_(std::string_view(kept_), false);
            if (taken < before) {
                kept_.erase(0, taken);
                return;
            }
            piece.remove_prefix(taken - before);
            kept_.clear();
        }
        if (!piece.empty()) kept_ = piece.substr(step_(piece, false));
    }

    void End() { step_(std::string_view(kept_), true); }

private:
    size_t lookAhead_;
    Step step_;
    std::string kept_;
};

/// Collects text and passes it on in pieces of a good size.
class PieceBuffer {
public:
    static constexpr size_t kSize = 0x8000;

    explicit PieceBuffer(const Take& take)
        : take_(take), bytes_(std::make_unique_for_overwrite<char[]>(kSize)) {}

    /// Room for `size` bytes, at most kSize, of which Commit says how many were filled.
    char* GetRoom(size_t size) {
        if (size > kSize - used_) Flush();
        return bytes_.get() + used_;
    }
    void Commit(size_t size) noexcept { used_ += size; }

    void Put(std::string_view text) {
        while (!text.empty()) {
            const std::string_view fitting = text.substr(0, kSize);
            std::copy(fitting.begin(), fitting.end(), GetRoom(fitting.size()));
            Commit(fitting.size());
            text.remove_prefix(fitting.size());
        }
    }

    void Flush() {
        if (used_ != 0) take_({bytes_.get(), std::exchange(used_, 0)});
    }

private:
    const Take& take_;
    std::unique_ptr<char[]> bytes_;
    size_t used_ = 0;
};

}  // namespace MIME

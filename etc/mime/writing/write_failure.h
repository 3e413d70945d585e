#pragma once

#include <utility>

#include "mime/mail/result.h"

namespace MIME {

/// What the writing functions throw among themselves. It never leaves the library: the public
/// functions turn it into a Result (see Caught).
struct WriteFailure {
    Error error;
};

[[noreturn]] inline void Fail(ErrorCode code, std::string text = {}) {
    throw WriteFailure{Error(code, std::move(text))};
}

/// Runs `body`; gives what it returns, or the error of the WriteFailure that it threw.
template <class T, class Body>
Result<T> Caught(Body body) {
    try {
        if constexpr (std::is_void_v<T>) {
            body();
            return {};
        } else {
            return body();
        }
    } catch (WriteFailure& failure) {
        return std::move(failure.error);
    }
}

}  // namespace MIME

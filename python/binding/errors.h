#pragma once

#include <utility>

#include "binding.h"
#include "mime/mail/result.h"

namespace Binding {

/// The exception for a failure: an OSError of the right class where the system gave a reason, with its number and
/// the name of the file, else MemoryError or kivmime.Error.
py::object MakeException(const MIME::Error& error);

/// Throws that exception.
[[noreturn]] void Raise(const MIME::Error& error);

/// The value, or its exception.
template <class T>
T Take(MIME::Result<T> result) {
    if (!result) Raise(result.error());
    return *std::move(result);
}

inline void Take(const MIME::Result<void>& result) {
    if (!result) Raise(result.error());
}

}  // namespace Binding

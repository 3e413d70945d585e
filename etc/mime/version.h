#pragma once

#include "kivgui/export.h"

// The only place with the version number; the build reads these three lines.
#define KIVMIME_VERSION_MAJOR 0
#define KIVMIME_VERSION_MINOR 1
#define KIVMIME_VERSION_PATCH 0

/// The version of these headers as a number, 102 for 0.1.2: `#if KIVMIME_VERSION >= 200`
#define KIVMIME_VERSION \
    (KIVMIME_VERSION_MAJOR * 10000 + KIVMIME_VERSION_MINOR * 100 + KIVMIME_VERSION_PATCH)

/// The same as a text, "0.1.2".
#define KIVMIME_VERSION_STRING \
    KIVMIME_VERSION_TEXT(KIVMIME_VERSION_MAJOR, KIVMIME_VERSION_MINOR, KIVMIME_VERSION_PATCH)
#define KIVMIME_VERSION_TEXT(major, minor, patch) KIVMIME_VERSION_TEXT_(major, minor, patch)
#define KIVMIME_VERSION_TEXT_(major, minor, patch) #major "." #minor "." #patch

namespace MIME {

/// The version of the running library, "0.1.2". It differs from KIVMIME_VERSION_STRING if the
/// shared library was replaced after the host was compiled. Any thread.
KIV_EXPORT const char* GetVersion() noexcept;

}  // namespace MIME

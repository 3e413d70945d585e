#pragma once

#include <mime/mime.h>

namespace Tool {

/// What the commands call it: "harmless", "repaired" or "ambiguous".
inline const char* GetSeverityName(MIME::Deviation::Severity severity) {
    switch (severity) {
        case MIME::Deviation::Severity::harmless:
            return "harmless";
        case MIME::Deviation::Severity::repaired:
            return "repaired";
        case MIME::Deviation::Severity::ambiguous:
            return "ambiguous";
    }
    return "";
}

}  // namespace Tool

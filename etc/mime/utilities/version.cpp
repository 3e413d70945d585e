#include "mime/version.h"

namespace MIME {

const char* GetVersion() noexcept {
    return KIVMIME_VERSION_STRING;
}

}  // namespace MIME

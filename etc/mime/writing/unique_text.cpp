#include "mime/writing/unique_text.h"

#include "kivgui/error.h"
#include "kivgui/hex.h"
#include "kivgui/random.h"
#include "mime/writing/write_failure.h"

namespace MIME {

std::string UniqueText::Make() {
    unsigned char bytes[16];
    if (seed_) {
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(KivGuiBase::SplitMix64(*seed_) >> 56);
        }
    } else if (!KivGuiBase::GetUnpredictableBytes(bytes, sizeof bytes)) {
        throw WriteFailure{
            Error(ErrorCode::noRandomNumbers).SetSystemCode(KivGuiBase::GetLastError())};
    }
    std::string text(2 * sizeof bytes, '\0');
    char* out = text.data();
    for (const unsigned char byte : bytes) {
        out = KivGuiBase::WriteHexPair(static_cast<char>(byte), out);
    }
    return text;
}

}  // namespace MIME

#include "mime/serializer/message_signer.h"

#include "kivsec/pkcs7_msg.h"

namespace MIME {

AnsiStr Message::Sign(const File& signerFile, const AnsiStr& signerText) const noexcept {
    return SignMessage<KivOssSec::PKCS7Msg>(*this, signerFile, signerText);
}

}  // namespace MIME

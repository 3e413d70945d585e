#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "mime/writing/body_source.h"
#include "mime/writing/target.h"

namespace MIME {

/// Fails with cannotSign when the entity that `writeEntity` writes has a line that cannot be signed, so that
/// nothing of it need be passed on.
void CheckCanBeSigned(const Writing& writeEntity);

/// Who signs: a file with a key and its certificates, PEM or PKCS#12, and its pass phrase, which is
/// wiped with this object.
class MailSigner {
public:
    MailSigner(std::filesystem::path file, std::string passPhrase);
    ~MailSigner();
    MailSigner(MailSigner&&) noexcept;
    MailSigner& operator=(MailSigner&&) noexcept;

    /// Passes a multipart/signed message on (RFC 8551, 3.5.3), in bounded memory: `outerFields`,
    /// MIME-Version, Content-Type, the entity that `writeEntity` writes, and its signature. The signature
    /// covers the entity's text as it is; so its lines must end in CR LF. WriteFailure (cannotSign) when
    /// they do not, or the signer cannot be used; then nothing or a part has been passed on.
    /// @param boundary  must not occur in the entity.
    void Write(std::string_view outerFields, const std::string& boundary,
               const Writing& writeEntity, const Take& take) const;

private:
    std::filesystem::path file_;
    std::string passPhrase_;
};

}  // namespace MIME

// Signs a tree, and has the result read by the mail rules and its signature verified. Without a field for
// the outside, or with a NUL in its text, a message is refused.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include <openssl/bio.h>
#include <openssl/cms.h>

#include "fuzz/check.h"
#include "fuzz/tree_source.h"
#include "kivgui/error.h"
#include "mime/mime.h"
#include "support/temp_folder.h"

namespace {

using MIME::AnsiStr;
using MIME::Message;
using MIME::Part;
using MIME::Fuzz::Check;

using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;

Bio MakeBio(std::string_view text) {
    return {BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), &BIO_free};
}

/// The key is nobody's, so whether its certificate is trusted does not matter.
bool IsSignatureOf(std::string_view signature, std::string_view content) {
    const Bio in = MakeBio(signature);
    const Bio signedText = MakeBio(content);
    const std::unique_ptr<CMS_ContentInfo, decltype(&CMS_ContentInfo_free)> cms(
        d2i_CMS_bio(in.get(), nullptr), &CMS_ContentInfo_free);
    if (cms == nullptr) return false;
    return CMS_verify(cms.get(), nullptr, nullptr, signedText.get(), nullptr,
                      CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) == 1;
}

void CheckSigned(const AnsiStr& text, const AnsiStr& content) {
    MIME::ReadOptions options;
    options.rules = MIME::Rules::mail;
    options.bodies = MIME::Bodies::memory;
    Part read;
    AnsiStr error;
    Check(read.Read(text.GetStr(), text.GetLength(), error, options),
          "a signed message can be read");
    Check(read.info.contentType.GetStr() == "multipart/signed", "it is a signed message");
    Check(read.parts.GetCount() == 2, "it has a content and a signature");
    const std::string_view whole = text;
    Check(whole.find(content) != std::string_view::npos, "the content is in it, byte for byte");
    Check(IsSignatureOf(read.parts[1]->data.content, content),
          "the signature is that of the content");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const MIME::Test::TempFolder folder;
    static const MIME::File signer(AnsiStr(MIME_FUZZ_KEYS_DIR "/ec.pem"));
    {
        MIME::Fuzz::TreeSource source({data, size}, MIME::Fuzz::Writer::serialize, folder);
        const Message& message = source.GetTop();
        const AnsiStr content = message.Serialize(false);
        const bool hasFields = !message.headers.Serialize(false, true).IsEmpty();
        const bool hasNul = std::string_view(content).find('\0') != std::string_view::npos;
        const AnsiStr text = message.Sign(signer, "");
        Check(text.IsEmpty() == (!hasFields || hasNul), "it fails as documented and only then");
        Check(!text.IsEmpty() || KivGuiBase::GetLastError() != 0, "a failure has a reason");
        if (!text.IsEmpty()) CheckSigned(text, content);
    }
    Check(folder.List().empty(), "no file is left");
    return 0;
}

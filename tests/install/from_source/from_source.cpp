// A host that has the library without signing: it writes a mail and reads it, and cannot sign it.
#include <mime/mail.h>
#include <mime/version.h>

#include <cstdio>
#include <string>

#include <kivgui/error.h>

static_assert(KIVMIME_VERSION >= 100);

int main() {
    MIME::Composer composer;
    composer.From("ada@example.org").To("bob@example.org").Text("1 + 1 = 2\n");
    const auto text = composer.ToString();
    const auto mail = MIME::Mail::Parse(text ? *text : std::string());
    const auto isSigned = composer.SignWith("key.pem").ToString();

    const bool isRight = mail && mail->GetText() == "1 + 1 = 2\n" && !isSigned &&
                         isSigned.error().GetSystemCode() == KivGuiBase::kErrorNoSigning &&
                         std::string(MIME::GetVersion()) == KIVMIME_VERSION_STRING;
    std::printf("from_source: %s\n", isRight ? "ok" : "wrong");
    std::printf("%s\n", isSigned ? "signed" : isSigned.error().GetText().c_str());
    return isRight ? 0 : 1;
}

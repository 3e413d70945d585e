// A host program as an outsider writes it: calls into the library, walks a container that is compiled
// into the host, and frees what the library allocated.
#include <kivgui/host/host.h>
#include <mime/mime.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kMessage =
    "Subject: greeting\r\n"
    "Content-Type: multipart/mixed; boundary=cut\r\n"
    "\r\n"
    "--cut\r\n"
    "Content-Type: text/plain\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n"
    "\r\n"
    "1 + 1 =3D 2\r\n"
    "--cut--\r\n";

int failures = 0;

void Expect(const char* what, std::string_view got, std::string_view want) {
    if (got == want) return;
    std::fprintf(stderr, "%s: got \"%.*s\", want \"%.*s\"\n", what, static_cast<int>(got.size()),
                 got.data(), static_cast<int>(want.size()), want.data());
    ++failures;
}

void ReadMessage() {
    MIME::Part message;
    MIME::AnsiStr error;
    const bool isRead = message.Read(kMessage.data(), kMessage.size(), error);
    Expect("error", error, "");
    Expect("Read", isRead ? "true" : "false", "true");

    std::string names;
    for (const auto& field : message.headers) {
        if (field.value.value.IsEmpty()) continue;  // looked up by the reader, absent in the text
        names.append(std::string_view(field.key)).append(" ");
    }
    Expect("fields", names, "Content-Type Subject ");

    std::string types;
    for (MIME::Part* child : message.parts) {
        child->data.ownsFile = true;
        types += std::string_view(child->info.contentType.GetStr());
    }
    Expect("types of the children", types, "text/plain");
}

/// Needs the cryptography to be linked.
void FailToSign() {
    MIME::Message message;
    message.headers.FindOrInsert("Subject")->value.value = "greeting";
    Expect("Sign", message.Sign(MIME::File("no-such-key.pem"), ""), "");
    Expect("its error", KivGuiBase::GetStoredErrorMessage(),
           "Could not create message signature: No such file or folder");
}

}  // namespace

int main() {
    Expect("QPEncode", MIME::Encoding::QPEncode("1 + 1 = 2"), "1 + 1 =3D 2");
    ReadMessage();
    FailToSign();
    std::puts(failures == 0 ? "consumer: ok" : "consumer: failed");
    return failures == 0 ? 0 : 1;
}

// A host program as an outsider writes it: calls into the library, walks a container that is compiled
// into the host, and frees what the library allocated.
#include <mime/mime.h>

#include <cstdio>
#include <string>
#include <string_view>

int main() {
    constexpr std::string_view kMessage =
        "Subject: greeting\r\nContent-Type: multipart/mixed; boundary=cut\r\n\r\n"
        "--cut\r\nContent-Type: text/plain\r\n\r\n1 + 1 = 2\r\n--cut--\r\n";
    MIME::Message message;
    MIME::AnsiStr error;
    std::string seen = message.Read(kMessage.data(), kMessage.size(), error) ? "" : "not read ";
    for (const auto& field : message.headers) {
        if (field.value.value.IsEmpty()) continue;  // looked up by the reader, absent in the text
        seen.append(std::string_view(field.key)).append(" ");
    }
    for (MIME::Part* child : message.parts) {
        child->data.ownsFile = true;
        seen.append(std::string_view(child->info.contentType.GetStr())).append(" ");
    }
    seen.append(std::string_view(MIME::Encoding::QPEncode("="))).append(" ");
    // Needs the cryptography to be linked.
    message.Sign(MIME::File("no-such-key.pem"), "");
    seen.append(std::string_view(KivGuiBase::GetStoredErrorMessage()));

    constexpr std::string_view kWant =
        "Content-Type Subject text/plain =3D "
        "Could not create message signature: No such file or folder";
    std::printf("consumer: %s\n", seen == kWant ? "ok" : seen.c_str());
    return seen == kWant ? 0 : 1;
}

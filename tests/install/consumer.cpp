// A host program as an outsider writes it: calls into the library, walks a container that is compiled
// into the host, and frees what the library allocated.
#include <mime/mime.h>

#include <cstdio>
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
    MIME::Part part;
    KivGuiBase::AnsiStr error;
    if (!part.Read(kMessage.data(), kMessage.size(), error, nullptr)) {
        Expect("error", error, "");
        ++failures;
        return;
    }
    for (const auto& entry : part.headers) Expect("header", entry.key, "content-type");
    Expect("number of children", part.parts.GetCount() == 1 ? "1" : "not 1", "1");
    for (MIME::Part* child : part.parts) {
        child->data.ownsFile = true;
        const MIME::ContentType& type = child->info.contentType;
        Expect("child type", MIME::CanonicType(type.type, type.subType), "text/plain");
    }
}

}  // namespace

int main() {
    Expect("QPEncode", MIME::Encoding::QPEncode("1 + 1 = 2"), "1 + 1 =3D 2");
    ReadMessage();
    std::puts(failures == 0 ? "consumer: ok" : "consumer: failed");
    return failures == 0 ? 0 : 1;
}

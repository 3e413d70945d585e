// interop_gmime_verify FILE: has GMime, with gpgsm, verify a multipart/signed message. Prints one line:
// "good", or what is wrong; the status is 0 for "good".

#include <cstdio>

#include <gmime/gmime.h>

namespace {

const char* Judge(GMimeMessage* message) {
    GMimeObject* top = g_mime_message_get_mime_part(message);
    if (!GMIME_IS_MULTIPART_SIGNED(top)) return "not multipart/signed";
    GError* error = nullptr;
    GMimeSignatureList* signatures =
        g_mime_multipart_signed_verify(GMIME_MULTIPART_SIGNED(top), GMIME_VERIFY_NONE, &error);
    if (signatures == nullptr) return error != nullptr ? error->message : "no signatures";
    if (g_mime_signature_list_length(signatures) != 1) return "not one signature";
    const GMimeSignatureStatus status =
        g_mime_signature_get_status(g_mime_signature_list_get_signature(signatures, 0));
    return (status & GMIME_SIGNATURE_STATUS_VALID) != 0 ? "good" : "not good";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    g_mime_init();
    GMimeStream* stream = g_mime_stream_file_open(argv[1], "rb", nullptr);
    if (stream == nullptr) return 2;
    GMimeParser* parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    if (message == nullptr) return 2;
    const char* verdict = Judge(message);
    std::puts(verdict);
    return verdict[0] == 'g' ? 0 : 1;
}

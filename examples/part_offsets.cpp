// Prints where every part of a message is: its path and media type, then offset and size of its
// header block and of its body, in bytes.
#include <mime/mail.h>

#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 2) return Fail("usage: part_offsets FILE");
    const auto mail = MIME::Mail::Open(argv[1]);
    if (!mail) return Fail(mail.error().GetText());
    for (const MIME::Entity& part : mail->GetEntities()) {
        const MIME::Range header = part.GetHeaderRange();
        const MIME::Range body = part.GetBodyRange();
        std::cout << part.GetPath() << '\t' << part.GetMediaType() << '\t' << header.offset << ' '
                  << header.size << '\t' << body.offset << ' ' << body.size << '\n';
    }
}

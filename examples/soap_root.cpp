// Prints the XML of a SOAP answer with attachments (MTOM): the root of the multipart/related body,
// which need not be its first entity.
#include <mime/mail.h>

#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 3) return Fail("usage: soap_root CONTENT-TYPE BODY-FILE");
    const auto answer = MIME::Mail::Open(argv[2], {.contentType = argv[1]});
    if (!answer) return Fail(answer.error().GetText());
    const MIME::Entity root = answer->GetTop().GetRoot();
    if (!root.IsType("application/xop+xml")) return Fail("the root is " + root.GetMediaType());
    std::cout << root.Decode() << '\n';
}

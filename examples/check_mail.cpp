// A gateway's verdict on a message: 0 accept, 1 try again later, 2 refuse, 3 quarantine. Prints what
// in the message departs from the RFCs.
#include <mime/mail.h>

#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 2) return Fail("usage: check_mail FILE");
    MIME::ReadReport report;
    const auto mail = MIME::Mail::Open(argv[1], {.report = &report});
    if (!mail) {
        std::cout << mail.error().GetText() << '\n';
        return mail.error().GetSystemCode() != 0 ? 1 : 2;
    }
    for (const MIME::ReadReport::Entry& found : report.deviations) {
        std::cout << "byte " << found.offset << ": " << MIME::Deviation::GetStr(found.kind) << '\n';
    }
    const bool isAmbiguous = report.worst == MIME::Deviation::Severity::ambiguous;
    std::cout << (isAmbiguous ? "quarantine\n" : "accept\n");
    return isAmbiguous ? 3 : 0;
}

// Prints the subject, the sender and the text of a message.
#include <mime/mail.h>

#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: print_mail FILE\n";
        return 2;
    }
    const auto mail = MIME::Mail::Open(argv[1]);
    if (!mail) {
        std::cerr << mail.error().GetText() << '\n';
        return 1;
    }
    std::cout << mail->GetSubject() << '\n' << mail->GetFrom() << '\n' << mail->GetText();
}

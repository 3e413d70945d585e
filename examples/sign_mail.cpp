// Signs a message: what it has is signed as it is, byte for byte.
#include <mime/mail.h>

#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 4) return Fail("usage: sign_mail MESSAGE KEY TARGET");
    const auto mail = MIME::Mail::Open(argv[1]);
    if (!mail) return Fail(mail.error().GetText());
    MIME::Edit edit(*mail);
    edit.SignWith(argv[2]);
    if (const auto saved = edit.Save(argv[3]); !saved) return Fail(saved.error().GetText());
    std::cout << "signed: " << argv[3] << '\n';
}

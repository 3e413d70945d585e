// Prints the messages of a mail folder as the library finds them: for each a line with its size, its
// size without quoting, then both texts.

#include <iostream>

#include <mime/mail/mail_folder.h>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    auto folder = MIME::MailFolder::Open(argv[1]);
    if (!folder) {
        std::cerr << folder.error().GetText() << '\n';
        return 1;
    }
    for (const auto& entry : *folder) {
        if (!entry) return 1;
        const std::string unquoted = entry->GetUnquotedText();
        std::cout << entry->GetSize() << ' ' << unquoted.size() << '\n'
                  << entry->GetText() << unquoted;
    }
}

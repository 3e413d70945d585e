// Prints who sent the messages of a mail folder, and how many each of them sent.
#include <mime/mail.h>

#include <iostream>
#include <map>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

/// How many messages came from each address. @param status  receives 1 when one cannot be read.
std::map<std::string, unsigned> CountSenders(MIME::MailFolder& messages, int& status) {
    std::map<std::string, unsigned> counts;
    for (const auto& entry : messages) {
        const auto mail = entry ? MIME::Mail::Parse(*entry) : entry.error();
        if (!mail) {
            status = Fail(mail.error().GetText());
            continue;
        }
        for (const MIME::Address& sender : mail->GetFrom()) ++counts[sender.GetAddress()];
    }
    return counts;
}

int main(int argc, char** argv) {
    if (argc != 2) return Fail("usage: list_senders MAIL-FOLDER");
    auto messages = MIME::MailFolder::Open(argv[1]);
    if (!messages) return Fail(messages.error().GetText());
    int status = 0;
    for (const auto& [address, count] : CountSenders(*messages, status)) {
        std::cout << count << '\t' << address << '\n';
    }
    return status;
}

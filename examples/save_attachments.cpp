// Saves the attachments of all messages of an mbox or a Maildir, with two threads.
#include <mime/mail.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why + '\n';  // in one piece, for two threads write
    return 1;
}

/// Saves those of the messages that the mail folder gives to this thread.
int SaveAttachments(MIME::MailFolder& messages, const std::filesystem::path& target) {
    int status = 0;
    for (const auto& entry : messages) {
        const auto mail = entry ? MIME::Mail::Parse(*entry) : entry.error();
        if (!mail) {
            status = Fail(mail.error().GetText());
            continue;
        }
        for (const MIME::Entity& file : mail->GetAttachments()) {
            const auto saved = file.SaveInto(target);
            if (!saved) status = Fail(saved.error().GetText());
        }
    }
    return status;
}

int main(int argc, char** argv) {
    if (argc != 3) return Fail("usage: save_attachments MAIL-FOLDER TARGET-FOLDER");
    auto messages = MIME::MailFolder::Open(argv[1]);
    if (!messages) return Fail(messages.error().GetText());
    const auto save = [&] { return SaveAttachments(*messages, argv[2]); };
    auto other = std::async(std::launch::async, save);
    const int status = save();
    return std::max(status, other.get());
}

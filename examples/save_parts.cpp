// Saves the attachments of one message in a folder, and prints what each is.
#include <mime/mail.h>

#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 3) return Fail("usage: save_parts MESSAGE FOLDER");
    const auto mail = MIME::Mail::Open(argv[1]);
    if (!mail) return Fail(mail.error().GetText());
    for (const MIME::Entity& file : mail->GetAttachments()) {
        const auto saved = file.SaveInto(argv[2]);
        if (!saved) return Fail(saved.error().GetText());
        std::cout << file.GetMediaType() << ", " << file.GetDecodedSize()
                  << " bytes: " << saved->filename().string() << '\n';
    }
}

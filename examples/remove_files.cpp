// Replaces the attached files with one extension, such as "exe", by a note, and leaves every other byte
// of the message as it is.
#include <mime/mail.h>

#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 4) return Fail("usage: remove_files EXTENSION MESSAGE TARGET");
    const auto mail = MIME::Mail::Open(argv[2]);
    if (!mail) return Fail(mail.error().GetText());
    MIME::Edit edit(*mail);
    for (const MIME::Entity& file : mail->GetAttachments()) {
        if (!file.HasExtension(argv[1])) continue;
        std::cout << file.GetPath() << ": " << file.GetFileName() << '\n';
        edit.Replace(file, "[" + file.GetSafeFileName() + " was removed]\n");
    }
    edit.AddField("X-Filter", "cleaned");
    const auto saved = edit.Save(argv[3]);
    if (!saved) return Fail(saved.error().GetText());
    std::cout << saved->brokenSignatures.size() << " signatures no longer hold\n";
}

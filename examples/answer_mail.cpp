// Answers a message, with a file attached, and saves the answer as a message of its own.
#include <mime/mail.h>

#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 4) return Fail("usage: answer_mail MESSAGE FILE ANSWER");
    const auto mail = MIME::Mail::Open(argv[1]);
    if (!mail) return Fail(mail.error().GetText());
    MIME::Composer answer;
    answer.From("Zoë Lund", "zoe@example.org").Answer(*mail);
    answer.Text("Danke, hier ist die Übersicht.\n").Attach(argv[2]);
    if (const auto saved = answer.Save(argv[3]); !saved) return Fail(saved.error().GetText());
    const auto again = MIME::Mail::Open(argv[3]);
    if (!again) return Fail(again.error().GetText());
    std::cout << again->GetTo() << '\n' << again->GetSubject() << '\n' << again->GetText();
}

// Prints the fields of an uploaded form and saves its files: the body of an HTTP request, whose
// Content-Type came apart from it.
#include <mime/mail.h>

#include <filesystem>
#include <iostream>
#include <string>

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 4) return Fail("usage: save_upload CONTENT-TYPE BODY-FILE TARGET-FOLDER");
    const auto form = MIME::Mail::Open(argv[2], {.contentType = argv[1]});
    if (!form) return Fail(form.error().GetText());
    if (!form->GetTop().IsType("multipart/form-data")) return Fail("this is not a form");
    for (const MIME::Entity& field : form->GetTop().GetChildren()) {
        const bool isFile = !field.GetFileName().empty();
        const auto saved = isFile ? field.SaveInto(argv[3]) : std::filesystem::path();
        if (!saved) return Fail(saved.error().GetText());
        std::cout << field.GetParameter("Content-Disposition", "name") << ": "
                  << (isFile ? saved->filename().string() : field.GetText()) << '\n';
    }
}

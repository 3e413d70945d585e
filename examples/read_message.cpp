// Prints the types and sizes of the parts of a message.
#include <kivgui/error.h>
#include <mime/mime.h>

#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    MIME::Part message;  // its body files are deleted with it
    MIME::AnsiStr error;
    if (!message.Read(MIME::File(argv[1]), error, MIME::ReadOptions::Mail())) {
        // Without a message from the reader, the system says why the file could not be read.
        const auto reason = KivGuiBase::GetErrorMessage(KivGuiBase::GetLastError(), 0, 1);
        std::cerr << argv[1] << ": " << (error.IsEmpty() ? reason : error) << '\n';
        return 1;
    }
    for (const MIME::Part* part : message.parts) {
        std::cout << part->info.contentType.GetStr() << ", " << part->data.file.GetSize()
                  << " bytes\n";
    }
}

// Prints the media type and the size of every body in a message.
#include <kivgui/error.h>
#include <mime/mime.h>

#include <iostream>

void PrintBodies(const MIME::Part& part) {
    for (const MIME::Part* child : part.parts) PrintBodies(*child);
    if (part.data.file.IsEmpty()) return;
    std::cout << part.info.contentType.GetStr() << ", " << part.data.file.GetSize() << " bytes\n";
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: read_message FILE\n";
        return 2;
    }
    MIME::Part message;
    MIME::AnsiStr error;
    if (!message.Read(MIME::File(argv[1]), error, MIME::ReadOptions::Mail())) {
        // Without a message the file could not be opened, and the last error says why.
        if (error.IsEmpty()) error = KivGuiBase::GetErrorMessage(KivGuiBase::GetLastError(), 0, 0);
        std::cerr << "cannot read " << argv[1] << ": " << error << '\n';
        return 1;
    }
    PrintBodies(message);  // the body files are removed when the message is destroyed
}

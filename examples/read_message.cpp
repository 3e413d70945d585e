// Prints the parts of a message and where their bodies are.
#include <mime/mime.h>

#include <iostream>

int main(int argc, char** argv) {
    MIME::Part message;
    MIME::AnsiStr error;
    if (argc != 2 || !message.Read(MIME::File(argv[1]), error)) {
        std::cerr << "cannot read: " << error << '\n';
        return 1;
    }
    for (MIME::Part* part : message.parts) {
        part->data.ownsFile = true;  // the body's file goes with the part
        std::cout << part->info.contentType.GetStr() << ", " << part->data.file.GetSize()
                  << " bytes\n";
    }
}

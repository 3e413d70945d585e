// Reads a message, writes what came of it, and reads that again. A first byte of 0 stands for a
// Content-Type that travels apart.

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "fuzz/check.h"
#include "mime/mime.h"
#include "support/temp_folder.h"

namespace {

using MIME::AnsiStr;
using MIME::File;
using MIME::Part;
using MIME::Fuzz::Check;

bool Read(Part& part, const char* text, size_t size, const char* contentType) {
    AnsiStr error;
    const bool read = part.Read(text, size, error, contentType);
    Check(read == error.IsEmpty(), "a failure has a message, and nothing else has");
    return read;
}

void WriteAndReadAgain(Part& part, const File& file, AnsiStr* contentType) {
    Check(part.Write(file, contentType), "what was read can be written");
    Part again;
    AnsiStr error;
    again.Read(file, error, contentType != nullptr ? contentType->GetStr() : nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const MIME::Test::TempFolder folder;
    const char* text = reinterpret_cast<const char*>(data);
    const bool isApart = size > 0 && data[0] == 0;
    {
        Part part;
        if (isApart ? Read(part, text + 1, size - 1, "multipart/related; boundary=a; start=\"<1>\"")
                    : Read(part, text, size, nullptr)) {
            const File file{AnsiStr(folder.At("written"))};
            AnsiStr contentType;
            WriteAndReadAgain(part, file, nullptr);
            WriteAndReadAgain(part, file, &contentType);
        }
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder.GetPath())) {
        std::filesystem::remove(entry);
    }
    return 0;
}

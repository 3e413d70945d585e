// The reader against the slow one of the tests, which must come to the same result. Short inputs
// do: -max_len=1000. A first byte of 0 stands for a Content-Type that travels apart.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "fuzz/check.h"
#include "support/reference_reader.h"
#include "support/temp_folder.h"

using MIME::Fuzz::Check;
using namespace MIME::Test;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const TempFolder folder;
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const char* contentType = nullptr;
    if (text.starts_with('\0')) {
        text.remove_prefix(1);
        contentType = "multipart/related; boundary=a; start=\"<1>\"";
    }
    ReferenceResult want = ReadByReference(text, contentType);
    MIME::Part part;
    MIME::AnsiStr error;
    Check(part.Read(text.data(), text.size(), error, contentType) == want.read, "result");
    Check(error == std::string_view(want.error), "message");
    Check(ToPlain(part) == want.top, "tree");
    std::vector<std::string> bodies;
    for (const std::string& name : folder.List()) {
        bodies.push_back(ReadWholeFile(folder.At(name)));
        std::filesystem::remove(folder.At(name));
    }
    std::sort(bodies.begin(), bodies.end());
    std::sort(want.bodies.begin(), want.bodies.end());
    Check(bodies == want.bodies, "body files");
    return 0;
}

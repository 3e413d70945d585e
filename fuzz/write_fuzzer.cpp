// Makes a tree, writes it with Part::Write, and reads the file by the exact rules: the same tree. Then the
// same with a Content-Type that travels apart.

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "fuzz/check.h"
#include "fuzz/tree_check.h"
#include "fuzz/tree_source.h"
#include "mime/mime.h"
#include "support/temp_folder.h"

namespace {

using MIME::AnsiStr;
using MIME::File;
using MIME::Part;
using MIME::Fuzz::Check;
using MIME::Fuzz::TreeSource;

void CheckRound(TreeSource& source, const File& file) {
    Check(source.GetTop().Write(file), "the tree can be written");
    Part read;
    AnsiStr error;
    const bool isRead = read.Read(file, error);
    if (!isRead) MIME::Fuzz::CheckEqual(error, "", "what was written can be read");
    Check(isRead, "what was written can be read, with a message otherwise");
    CheckReadBack(source, read, MIME::Fuzz::Writer::write);
}

void CheckRoundApart(TreeSource& source, const File& file) {
    AnsiStr contentType;
    Check(source.GetTop().Write(file, &contentType), "the tree can be written without its header");
    Part read;
    AnsiStr error;
    Check(read.Read(file, error, contentType.GetStr()), "the two can be read");
    Check(read.parts.GetCount() == source.GetTop().parts.GetCount(), "each child comes back");
    AnsiStr again;
    Check(read.Write(file, &again), "what was read can be written");
    MIME::Fuzz::CheckEqual(again, contentType, "the type comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const MIME::Test::TempFolder folder;
    {
        TreeSource source({data, size}, MIME::Fuzz::Writer::write, folder);
        const File file{AnsiStr(folder.At("written"))};
        CheckRound(source, file);
        CheckRoundApart(source, file);
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder.GetPath())) {
        std::filesystem::remove(entry);
    }
    return 0;
}

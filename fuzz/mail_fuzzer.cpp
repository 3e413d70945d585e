// Reads bytes as a mail and asks for everything: the tree must be that of Part::Read, ranges must be cut
// out of the text, texts must be UTF-8 without line ends where that is promised, and nothing but
// std::bad_alloc may be thrown.

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "fuzz/check.h"
#include "fuzz/text_mutator.h"
#include "kivgui/utf8.h"
#include "mime/mail.h"
#include "support/same_tree.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace {

using namespace MIME;
using Fuzz::Check;

/// UTF-8 in one line.
void CheckLine(const std::string& text) {
    Check(text.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos, "one line");
}

void CheckEntity(const Mail& mail, const Entity& entity) {
    const Range range = entity.GetRange();
    Check(!entity.IsInSource() ||
              mail.GetSource().substr(range.offset, range.size) == entity.GetRaw(),
          "range");
    Check(entity.GetRaw().ends_with(entity.GetRawBody()), "the body ends the entity");
    for (const Field& field : entity.GetFields()) {
        CheckLine(field.GetText());
        Check(field.GetParameters().empty() || !field.raw.empty(), "parameters");
        field.GetValue();
    }
    const std::string name = entity.GetSafeFileName();
    Check(!name.empty() && name.size() <= 255 && name.find('/') == std::string::npos, "safe name");
    Check(entity.GetDecodedSize() == entity.Decode().size(), "decoded size");
    entity.GetReadableText();
    Check(entity.GetRoot() == entity || entity.GetRoot().GetParent() == entity, "root");
}

void CheckMail(const Mail& mail) {
    unsigned looked = 0;  // looking up a path takes as long as there are entities
    for (const Entity& entity : mail.GetEntities()) {
        CheckEntity(mail, entity);
        if (++looked < 100) Check(mail.FindByPath(entity.GetPath()) == entity, "path");
    }
    CheckLine(mail.GetSubject());
    CheckLine(mail.GetFrom().GetStr());
    mail.GetDate();
    mail.GetReferences();
    mail.GetText();
    mail.GetHtml();
    for (const Entity& text : mail.GetTop().GetTextEntities()) Check(!text.HasChildren(), "text");
    for (const Entity& file : mail.GetAttachments()) {
        Check(file.IsAttachment(), "attachment");
        if (!file.IsUuencoded()) continue;
        CheckEntity(mail, file);
        if (++looked < 200) Check(mail.FindByPath(file.GetPath()) == file, "path of a file");
    }
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
    std::minstd_rand random(seed);
    if (random() % 2 == 0) return LLVMFuzzerMutate(data, size, maxSize);
    std::string text(reinterpret_cast<const char*>(data), size);
    Fuzz::MutateStructure(text, random);
    text.resize(std::min(text.size(), maxSize));
    std::copy(text.begin(), text.end(), data);
    return text.size();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ReadOptions options = ReadOptions::Mail();
    options.bodies = Bodies::memory;
    options.memoryLimit = AnsiStr::kMaxLength;
    Part part;
    AnsiStr error;
    const bool isRead = part.Read(text.data(), text.size(), error, options);
    const Result<Mail> mail = Mail::Parse(text);
    Check(static_cast<bool>(mail) == isRead, "both read it, or none");
    if (!mail) {
        Fuzz::CheckEqual(mail.error().GetText(), error, "error");
        return 0;
    }
    Fuzz::CheckEqual(Test::FindDifference(*mail, part), "", "difference");
    CheckMail(*mail);
    return 0;
}

// Reads text: converts it by a label, finds uuencoded blocks in it, and, where libgumbo is, reads it as
// HTML. The first line is the label.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/check.h"
#include "kivgui/utf8.h"
#include "mime/encoding/uuencode.h"
#include "mime/html.h"
#include "mime/mail/text_charset.h"

namespace {

using MIME::Fuzz::Check;

void CheckCharset(std::string_view bytes, std::string_view label) {
    const MIME::DecodedText got = MIME::DecodeText(bytes, label);
    Check(KivGuiBase::IsUtf8(got.text), "text is UTF-8");
    Check(!got.charset.empty(), "each text has a charset");
    Check(got.replaced <= bytes.size(), "no more is replaced than there is");
    const std::string header = MIME::DecodeRawHeader(bytes, {std::string(label)});
    Check(KivGuiBase::IsUtf8(header), "header text is UTF-8");
    Check(!KivGuiBase::IsUtf8(bytes) || header == bytes, "UTF-8 in a header stays as it is");
}

void CheckBlocks(std::string_view text) {
    size_t end = 0;
    for (const MIME::UuBlock& block : MIME::FindUuencoded(text)) {
        Check(block.begin >= end && block.begin < block.end && block.end <= text.size(),
              "blocks follow each other inside the text");
        Check(block.begin == 0 || text[block.begin - 1] == '\n', "blocks begin lines");
        Check(MIME::DecodeUuencoded(text, block).size() == block.decodedSize,
              "blocks are as long as they say");
        end = block.end;
    }
}

#ifdef MIME_FUZZ_HTML
void CheckHtml(std::string_view html) {
    const std::string text = MIME::HtmlToText(html);
    const auto isControl = [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\n') || c == '\x7F';
    };
    Check(KivGuiBase::IsUtf8(text), "HTML gives UTF-8");
    Check(std::none_of(text.begin(), text.end(), isControl), "HTML gives no control characters");
    Check(text.empty() || text.ends_with('\n'), "the last line has an end");
    Check(text.find(" \n") == std::string::npos, "no blanks at the end of a line");
    Check(text.find("\n\n\n") == std::string::npos && !text.starts_with('\n'),
          "at most one empty line, none at the start");
}
#endif

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const size_t line = std::min(text.find('\n'), text.size());
    CheckCharset(text.substr(line), text.substr(0, line));
    CheckBlocks(text);
#ifdef MIME_FUZZ_HTML
    CheckHtml(text.substr(line));
#endif
    return 0;
}

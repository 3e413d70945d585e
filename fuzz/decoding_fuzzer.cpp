// Decodes header values, parameters and bodies. The first byte chooses a charset. Bodies are decoded by both
// forms of the kernels.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/check.h"
#include "kivgui/kernels/cpu.h"
#include "kivgui/utf8.h"
#include "mime/encoding/lenient_decoder.h"
#include "mime/mime.h"

namespace {

using MIME::AnsiStr;
using MIME::Decoding;
using MIME::Fuzz::Check;

size_t Count(std::string_view text, std::string_view bytes) {
    size_t count = 0;
    for (const char c : text) count += bytes.find(c) != std::string_view::npos;
    return count;
}

constexpr std::string_view kFieldEnds("\r\n\0", 3);

void CheckWords(const AnsiStr& text) {
    for (const auto decode : {&Decoding::Words, &Decoding::AddressWords}) {
        const AnsiStr decoded = decode(text);
        Check(Count(decoded, kFieldEnds) <= Count(text, kFieldEnds), "no field end comes in");
    }
}

/// Lines of the text are parameters, "name" and what follows "=".
void CheckParameters(std::string_view text) {
    MIME::ParameterMap map;
    size_t entries = 0;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() == text.size() ? line.size() : line.size() + 1);
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        const AnsiStr key = AnsiStr("n") + AnsiStr(line.substr(0, equals));
        if (map.Find(key) == nullptr) ++entries;
        map.FindOrInsert(key)->value.value = line.substr(equals + 1);
    }
    const Decoding::ParameterResult result = Decoding::Parameter(map, "n");
    Check(result.found || result.value.IsEmpty(), "what is not there has no value");
    for ([[maybe_unused]] const auto& entry : map) --entries;
    Check(entries == 0, "the map is not changed");
}

template <class Decoder>
std::string DecodeInPieces(std::string_view text, size_t length) {
    Decoder decoder;
    std::string body;
    const auto append = [&](std::string_view piece, bool isLast) {
        std::vector<char> out(piece.size() + MIME::kLenientRoom);
        body.append(out.data(),
                    isLast ? decoder.Finish(out.data()) : decoder.Decode(piece, out.data()));
    };
    for (; !text.empty(); text.remove_prefix(length < text.size() ? length : text.size())) {
        append(text.substr(0, length), false);
    }
    append({}, true);
    return body;
}

void CheckBodies(std::string_view text, size_t length) {
    const auto size = static_cast<unsigned>(text.size());
    const Decoding::BodyResult base64 = Decoding::Base64(text.data(), size);
    Check(base64.body == std::string_view(DecodeInPieces<MIME::LenientBase64>(text, length)),
          "base64 is the same in pieces");
    const Decoding::BodyResult qp = Decoding::QuotedPrintable(text.data(), size);
    const std::string inPieces = DecodeInPieces<MIME::LenientQuotedPrintable>(text, length);
    constexpr std::string_view kManyBlanks = "        ";  // with "="
    std::string spaces(text);
    for (char& c : spaces) c = c == '\t' || c == '=' ? ' ' : c;
    if (spaces.find(kManyBlanks) == std::string::npos) {
        Check(qp.body == std::string_view(inPieces), "quoted-printable is the same in pieces");
    }
    Check(base64.complete && qp.complete, "bodies are decoded");
}

void CheckCharset(std::string_view bytes, unsigned choice) {
    constexpr const char* kCharsets[] = {"utf-8",    "us-ascii", "windows-1252", "utf-16",
                                         "utf-32le", "utf-7",    "iso-2022-jp",  "gb18030",
                                         "cp949",    "cp932",    "big5",         "x-none"};
    const char* charset = kCharsets[choice % std::size(kCharsets)];
    const Decoding::TextResult result =
        Decoding::ToUtf8(bytes.data(), static_cast<unsigned>(bytes.size()), charset);
    for (std::string_view rest = result.text; !rest.empty();) {
        const unsigned length = KivGuiBase::MeasureUtf8(rest);
        Check(length != 0, "text is UTF-8");
        rest.remove_prefix(length);
    }
    Check(result.known || result.text.IsEmpty(), "an unknown charset gives no text");
    Decoding::ToUtf8("a", 1, AnsiStr(bytes.substr(0, 64)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    CheckWords(AnsiStr(text));
    CheckParameters(text);
    for (const bool isPortable : {false, true}) {
        KivGuiBase::Kernels::ForcePortable(isPortable);
        CheckBodies(text, 1 + data[0] % 24);
    }
    CheckCharset(text, data[0]);
    Decoding::FlowedToParagraphs(AnsiStr(text), data[0] % 2 == 0);
    return 0;
}

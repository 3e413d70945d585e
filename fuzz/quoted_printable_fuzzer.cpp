// Encodes a body and decodes it again; decodes the same bytes as lines. All with both forms of the kernels.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "encoding/quoted_printable_reference.h"
#include "fuzz/check.h"
#include "kivgui/kernels/cpu.h"
#include "kivgui/utf8.h"
#include "mime/encoding/quoted_printable.h"

namespace {

using MIME::AnsiStr;
using MIME::Blob;
using MIME::Encoding;
using MIME::Fuzz::Check;
using Reference = MIME::Test::QuotedPrintableReference;

constexpr std::string_view kLineEnd = "\r\n";

std::string DecodeLine(std::string_view line) {
    Blob out;
    Check(Encoding::QPDecodeLine({line.data(), static_cast<unsigned>(line.size())}, out),
          "a line can be decoded");
    return {out.GetData(), out.GetSize()};
}

/// Decodes line by line; what follows the last line end is a line, too.
std::string Decode(std::string_view text) {
    std::string body;
    for (;;) {
        const size_t end = text.find(kLineEnd);
        const std::string_view line = text.substr(0, end);
        const std::string decoded = DecodeLine(line);
        Check(decoded == Reference::DecodeLine(line), "lines are decoded as by the reference");
        body += decoded;
        if (end == std::string_view::npos) return body;
        text.remove_prefix(end + kLineEnd.size());
    }
}

void CheckPlainLines(std::string_view text) {
    std::string out(text.size(), '\0');
    const MIME::QuotedPrintable::Progress done =
        MIME::QuotedPrintable::DecodePlainLines(text, out.data());
    out.resize(done.written);
    const std::string_view taken = text.substr(0, done.taken);
    Check(taken.empty() || taken.ends_with(kLineEnd), "whole lines are taken");
    Check(!taken.starts_with("--") && taken.find("\r\n--") == std::string_view::npos,
          "no line is taken that may be a boundary line");
    if (!taken.empty()) {
        Check(out == Decode(taken.substr(0, taken.size() - kLineEnd.size())),
              "lines are decoded alike in one pass");
    }
}

void CheckLineLengths(std::string_view text) {
    for (;;) {
        const size_t end = text.find(kLineEnd);
        Check(text.substr(0, end).size() <= MIME::QuotedPrintable::kMaxLine, "no line is too long");
        if (end == std::string_view::npos) return;
        text.remove_prefix(end + kLineEnd.size());
    }
}

void CheckBody(std::string_view body) {
    const AnsiStr encoded = Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size()));
    Check(encoded == Reference::Encode(body), "encoded as by the reference");
    CheckLineLengths(encoded);
    const std::string_view plain = KivGuiBase::SkipByteOrderMark(body);
    Check(Decode(encoded) == std::string(plain) + "\r\n", "decoding undoes encoding");
    Decode(body);
    CheckPlainLines(body);
    CheckPlainLines(encoded);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const bool isPortable : {false, true}) {
        KivGuiBase::Kernels::ForcePortable(isPortable);
        CheckBody({reinterpret_cast<const char*>(data), size});
    }
    return 0;
}

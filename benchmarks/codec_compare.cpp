// Encodes and decodes 64 MiB in memory that is there already, beside GMime where it is installed and beside
// memcpy of the encoded text. All take turns; a row has the medians of their CPU times.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/bodies.h"
#include "kivgui/kernels/base64_kernel.h"
#include "mime/encoding/lenient_decoder.h"
#include "mime/encoding/quoted_printable.h"

#if defined(MIME_BENCH_GMIME)
#include <gmime/gmime.h>
#endif

namespace MIME::Bench {
namespace {

/// Writes a result; returns its size.
using Codec = std::function<size_t(std::string_view in, char* out)>;

double GetCpuSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

// ------------------------------------------------------------------------------------- ours --

size_t EncodeBase64(std::string_view in, char* out) {
    return static_cast<size_t>(
        KivGuiBase::Base64::EncodeLines(in.data(), in.size(), 76, "\r\n", out) - out);
}

size_t DecodeBase64(std::string_view in, char* out) {
    LenientBase64 decoder;
    size_t taken = 0;
    const size_t plain = decoder.DecodePlain(in, out, taken);
    return plain + decoder.DecodeLast(in.substr(taken), out + plain);
}

size_t EncodeQuoted(std::string_view in, char* out) {
    const char* next = in.data();
    const char* const end = next + in.size();
    size_t size = 0;
    while (next != end) size += QuotedPrintable::EncodeLines(next, end, true, out + size);
    return size;
}

size_t DecodeQuoted(std::string_view in, char* out) {
    return LenientQuotedPrintable().DecodeLast(in, out);
}

// ------------------------------------------------------------------------------------ theirs --

#if defined(MIME_BENCH_GMIME)
template <class Step>
size_t RunSteps(Step step, std::string_view in, char* out, int state) {
    guint32 save = 0;
    return step(reinterpret_cast<const unsigned char*>(in.data()), in.size(),
                reinterpret_cast<unsigned char*>(out), &state, &save);
}
size_t EncodeBase64Theirs(std::string_view in, char* out) {
    return RunSteps(g_mime_encoding_base64_encode_step, in, out, 0);
}
size_t DecodeBase64Theirs(std::string_view in, char* out) {
    return RunSteps(g_mime_encoding_base64_decode_step, in, out, 0);
}
size_t EncodeQuotedTheirs(std::string_view in, char* out) {
    return RunSteps(g_mime_encoding_quoted_encode_step, in, out, -1);
}
size_t DecodeQuotedTheirs(std::string_view in, char* out) {
    return RunSteps(g_mime_encoding_quoted_decode_step, in, out, 0);
}
#else
const Codec EncodeBase64Theirs, DecodeBase64Theirs, EncodeQuotedTheirs, DecodeQuotedTheirs;
#endif

// -------------------------------------------------------------------------------- measuring --

/// Median CPU seconds of each codec on the same text; 0 for those that are missing.
std::vector<double> Measure(const std::vector<Codec>& codecs, std::string_view in, char* out) {
    constexpr size_t kRounds = 9;
    std::vector<std::vector<double>> times(codecs.size());
    for (size_t round = 0; round < kRounds; ++round) {
        for (size_t i = 0; i < codecs.size(); ++i) {
            const double begin = GetCpuSeconds();
            if (codecs[i]) codecs[i](in, out);
            times[i].push_back(codecs[i] ? GetCpuSeconds() - begin : 0);
        }
    }
    std::vector<double> medians;
    for (auto& all : times) {
        std::nth_element(all.begin(), all.begin() + kRounds / 2, all.end());
        medians.push_back(all[kRounds / 2]);
    }
    return medians;
}

void PrintRow(const std::string& name, const std::vector<Codec>& codecs, std::string_view in,
              std::string_view encoded, char* out) {
    const std::vector<double> times = Measure(codecs, in, out);
    const double size = static_cast<double>(encoded.size()) / 1e6;
    std::printf("| %s | %.0f | ", name.c_str(), size / times[0]);
    if (times[1] > 0) std::printf("%.0f | %.2f", size / times[1], times[1] / times[0]);
    if (times[1] <= 0) std::printf("| ");
    std::printf(" | %.0f | %.2f |\n", size / times[2], times[0] / times[2]);
    std::fflush(stdout);
}

/// Two rows: encoding a body, and decoding it again.
void Compare(const std::string& name, const std::string& body, const Codec& encode,
             const Codec& decode, const Codec& encodeTheirs, const Codec& decodeTheirs) {
    constexpr size_t kSlack = 0x10000;
    std::string out(4 * body.size() + kSlack, 'x');
    const std::string encoded = out.substr(0, encode(body, out.data()));
    const size_t size = decode(encoded, out.data());
    if (std::string_view(out.data(), size) != body) Fail("decoding does not undo encoding");
    const Codec copy = [&](std::string_view, char* to) {
        std::memcpy(to, encoded.data(), encoded.size());
        return encoded.size();
    };
    PrintRow(name + ", encode", {encode, encodeTheirs, copy}, body, encoded, out.data());
    PrintRow(name + ", decode", {decode, decodeTheirs, copy}, encoded, encoded, out.data());
}

/// The same text again and again.
std::string Fill(const std::string& text, size_t size) {
    std::string body;
    while (body.size() < size) body += text;
    body.resize(size);
    return body;
}

}  // namespace
}  // namespace MIME::Bench

int main() {
    using namespace MIME::Bench;
    constexpr size_t kSize = 64 << 20;
    constexpr size_t kUnit = 4 << 20;  // more than a processor learns
#if !defined(MIME_BENCH_GMIME)
    std::puts("skipped: GMime, because it was not there when this was built");
#endif
    std::puts(
        "| 64 MiB | MB/s | GMime, MB/s | times as fast | memcpy, MB/s | times memcpy's time |");
    std::puts("|---|---:|---:|---:|---:|---:|");
    Compare("base64, lines of 76", Fill(MakeBinary(kUnit), kSize), EncodeBase64, DecodeBase64,
            EncodeBase64Theirs, DecodeBase64Theirs);
    Compare("quoted-printable, prose", Fill(MakeProse(kUnit), kSize), EncodeQuoted, DecodeQuoted,
            EncodeQuotedTheirs, DecodeQuotedTheirs);
    Compare("quoted-printable, one escape in four bytes", Fill(MakeMixed(kUnit), kSize),
            EncodeQuoted, DecodeQuoted, EncodeQuotedTheirs, DecodeQuotedTheirs);
    return 0;
}

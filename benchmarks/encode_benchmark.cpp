// The encoders and decoders, compared with memcpy of their input.

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "benchmarks/bodies.h"
#include "benchmarks/limit.h"
#include "kivgui/convert.h"
#include "mime/encoding/lenient_decoder.h"
#include "mime/encoding/quoted_printable.h"

namespace MIME::Bench {
namespace {

constexpr int64_t kSize = 1 << 20;  // bytes of body

void Copy(benchmark::State& state) {
    const std::string in = MakeBinary(static_cast<size_t>(state.range(0)));
    std::string out(in.size(), '\0');
    for (auto step : state) {
        std::memcpy(out.data(), in.data(), in.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    SetBytesAndLimit(state, in.size(), "");
}
BENCHMARK(Copy)->Arg(kSize);

void SetBytesAndCopy(benchmark::State& state, size_t bytes) {
    SetBytesAndLimit(state, bytes, "Copy/" + std::to_string(kSize));
}

void QpEncode(benchmark::State& state, MakeBody makeBody) {
    const std::string body = makeBody(static_cast<size_t>(state.range(0)));
    for (auto step : state) {
        benchmark::DoNotOptimize(
            Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size())));
    }
    SetBytesAndCopy(state, body.size());
}
BENCHMARK_CAPTURE(QpEncode, text, MakeProse)->Arg(kSize);
BENCHMARK_CAPTURE(QpEncode, mixed, MakeMixed)->Arg(kSize);
BENCHMARK_CAPTURE(QpEncode, binary, MakeBinary)->Arg(kSize);

void QpEncodeAtScale(benchmark::State& state) {
    const auto bodies = MakeBodies(MakeProse, static_cast<size_t>(state.range(0)));
    for (auto step : state) {
        for (const std::string& body : bodies) {
            benchmark::DoNotOptimize(
                Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size())));
        }
    }
    SetBytesAndLimit(state, bodies.size() * bodies.front().size(), "");
}
BENCHMARK(QpEncodeAtScale)->Name("Scale/QpEncode")->RangeMultiplier(8)->Range(1 << 10, 1 << 25);

AnsiStr MakeQpText(const benchmark::State& state, MakeBody makeBody) {
    const std::string body = makeBody(static_cast<size_t>(state.range(0)));
    return Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size()));
}

/// As the reader does: whole lines in one pass.
void QpDecode(benchmark::State& state, MakeBody makeBody) {
    const AnsiStr text = MakeQpText(state, makeBody);
    std::string out(text.GetLength(), '\0');
    for (auto step : state) {
        benchmark::DoNotOptimize(QuotedPrintable::DecodePlainLines(text, out.data()));
        benchmark::ClobberMemory();
    }
    SetBytesAndCopy(state, text.GetLength());
}
BENCHMARK_CAPTURE(QpDecode, text, MakeProse)->Arg(kSize);
BENCHMARK_CAPTURE(QpDecode, mixed, MakeMixed)->Arg(kSize);
BENCHMARK_CAPTURE(QpDecode, binary, MakeBinary)->Arg(kSize);

/// As the mail rules do, whose decoder tolerates more; in pieces of 16 KiB.
template <class Decoder>
void DecodeLeniently(benchmark::State& state, const AnsiStr& text) {
    constexpr size_t kPiece = 0x4000;
    std::vector<char> out(kPiece + kLenientRoom);
    for (auto step : state) {
        Decoder decoder;
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view piece = rest.substr(0, kPiece);
            benchmark::DoNotOptimize(decoder.Decode(piece, out.data()));
            benchmark::ClobberMemory();
            rest.remove_prefix(piece.size());
        }
    }
    SetBytesAndCopy(state, text.GetLength());
}

void QpDecodeLeniently(benchmark::State& state, MakeBody makeBody) {
    DecodeLeniently<LenientQuotedPrintable>(state, MakeQpText(state, makeBody));
}
BENCHMARK_CAPTURE(QpDecodeLeniently, text, MakeProse)->Arg(kSize);
BENCHMARK_CAPTURE(QpDecodeLeniently, mixed, MakeMixed)->Arg(kSize);
BENCHMARK_CAPTURE(QpDecodeLeniently, binary, MakeBinary)->Arg(kSize);

/// As a host does: line by line through the public function.
void QpDecodeLine(benchmark::State& state, MakeBody makeBody) {
    const AnsiStr text = MakeQpText(state, makeBody);
    std::vector<AnsiSubStr> lines;
    for (std::string_view rest = text; !rest.empty();) {
        const size_t length = std::min(rest.find("\r\n"), rest.size());
        lines.emplace_back(rest.data(), static_cast<unsigned>(length));
        rest.remove_prefix(std::min(length + 2, rest.size()));
    }
    Blob out;
    for (auto step : state) {
        for (const AnsiSubStr& line : lines) {
            benchmark::DoNotOptimize(Encoding::QPDecodeLine(line, out));
        }
    }
    SetBytesAndCopy(state, text.GetLength());
}
BENCHMARK_CAPTURE(QpDecodeLine, text, MakeProse)->Arg(kSize);
BENCHMARK_CAPTURE(QpDecodeLine, binary, MakeBinary)->Arg(kSize);

AnsiStr EncodeBase64(const std::string& body) {
    return KivGuiBase::Binary2B64Str(body.data(), static_cast<unsigned>(body.size()), 76, "\r\n");
}

void Base64Encode(benchmark::State& state) {
    const std::string body = MakeBinary(kSize);
    for (auto step : state) benchmark::DoNotOptimize(EncodeBase64(body));
    SetBytesAndCopy(state, body.size());
}
BENCHMARK(Base64Encode);

void Base64Decode(benchmark::State& state) {
    const AnsiStr text = EncodeBase64(MakeBinary(kSize));
    std::string out(kSize, '\0');
    for (auto step : state) {
        unsigned size = kSize;
        benchmark::DoNotOptimize(KivGuiBase::B64Str2Binary(text, out.data(), size, "\r\n"));
        benchmark::ClobberMemory();
    }
    SetBytesAndCopy(state, text.GetLength());
}
BENCHMARK(Base64Decode);

void Base64DecodeLeniently(benchmark::State& state) {
    DecodeLeniently<LenientBase64>(state, EncodeBase64(MakeBinary(kSize)));
}
BENCHMARK(Base64DecodeLeniently);

void DecodeBodyQp(benchmark::State& state) {
    const AnsiStr text = MakeQpText(state, MakeProse);
    for (auto step : state) {
        benchmark::DoNotOptimize(Decoding::QuotedPrintable(text.GetStr(), text.GetLength()));
    }
    SetBytesAndCopy(state, text.GetLength());
}
BENCHMARK(DecodeBodyQp)->Arg(kSize);

void DecodeBodyBase64(benchmark::State& state) {
    const AnsiStr text = EncodeBase64(MakeBinary(kSize));
    for (auto step : state) {
        benchmark::DoNotOptimize(Decoding::Base64(text.GetStr(), text.GetLength()));
    }
    SetBytesAndCopy(state, text.GetLength());
}
BENCHMARK(DecodeBodyBase64);

/// A header value, once without and once with something to decode.
void DecodeWords(benchmark::State& state, const char* text) {
    const AnsiStr value = text;
    for (auto step : state) benchmark::DoNotOptimize(Decoding::Words(value));
}
BENCHMARK_CAPTURE(DecodeWords, plain, "Minutes of the meeting of last Tuesday, with the slides");
BENCHMARK_CAPTURE(DecodeWords, encoded,
                  "=?utf-8?Q?Gr=C3=BC=C3=9Fe_aus_K=C3=B6ln?= =?utf-8?B?IGFuIGFsbGU=?=");

}  // namespace
}  // namespace MIME::Bench

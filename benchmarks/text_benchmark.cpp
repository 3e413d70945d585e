// The header encoders and the writers of text, compared with memcpy of their output.

#include <algorithm>
#include <string>

#include "benchmarks/bodies.h"
#include "benchmarks/limit.h"
#include "mime/mime.h"

namespace MIME::Bench {
namespace {

constexpr int64_t kSize = 1 << 20;  // bytes of input

AnsiStr MakeText(size_t size) {
    const std::string text = MakeProse(size);
    return AnsiStr(std::string_view(text));
}

AnsiStr EncodeWords(const AnsiStr& text) {
    return Encoding::QEncode(text, true);
}

AnsiStr EncodeExtended(const AnsiStr& text) {
    return Encoding::EncodeParameter("filename", text, false);
}

AnsiStr EncodeWordsInParameter(const AnsiStr& text) {
    return Encoding::EncodeParameter("name", text, true);
}

/// A block of many fields: each a line of the text.
void FillFields(HeaderMap& headers, const AnsiStr& text) {
    unsigned number = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find("\r\n"));
        rest.remove_prefix(std::min(line.size() + 2, rest.size()));
        const std::string name = "X-Field-" + std::to_string(number++);
        headers.FindOrInsert(std::string_view(name))->value.value = line;
    }
}

/// A message of 64 bodies, text and binary, in four multiparts.
void FillTree(Part& top, const AnsiStr& text) {
    constexpr unsigned kGroups = 4;
    constexpr unsigned kLeaves = 16;
    const unsigned size = std::max(1u, text.GetLength() / (kGroups * kLeaves));
    for (unsigned group = 0; group < kGroups; ++group) {
        auto* multipart = new Part;
        top.AddPart(multipart);
        for (unsigned i = 0; i < kLeaves; ++i) {
            auto* leaf = new Part;
            multipart->AddPart(leaf);
            leaf->info.contentType = {"", Type::text, SubType::plain};
            leaf->info.transferEncoding =
                i % 2 == 0 ? TransferEncoding::base64 : TransferEncoding::quoted_printable;
            leaf->data.content = text.Copy((group * kLeaves + i) * size, size);
        }
    }
}

/// Measures a function that returns a text, in bytes of that text.
template <class Make>
void Measure(benchmark::State& state, Make make) {
    const size_t bytes = make().GetLength();
    for (auto step : state) benchmark::DoNotOptimize(make());
    SetBytesAndLimit(state, bytes, "Copy/" + std::to_string(kSize));
}

using EncodeText = AnsiStr (*)(const AnsiStr& text);

void Encode(benchmark::State& state, EncodeText encode) {
    const AnsiStr text = MakeText(static_cast<size_t>(state.range(0)));
    Measure(state, [&] { return encode(text); });
}

void SerializeFields(benchmark::State& state) {
    HeaderMap headers;
    FillFields(headers, MakeText(static_cast<size_t>(state.range(0))));
    Measure(state, [&] { return headers.Serialize(false, false); });
}

void SerializeTree(benchmark::State& state) {
    Part top;
    FillTree(top, MakeText(static_cast<size_t>(state.range(0))));
    Measure(state, [&] { return top.Serialize(false); });
}

constexpr int64_t kSmallest = 1 << 10;
constexpr int64_t kLargest = 1 << 25;

BENCHMARK_CAPTURE(Encode, QEncode, EncodeWords)->Name("QEncode")->Arg(kSize);
BENCHMARK_CAPTURE(Encode, Extended, EncodeExtended)->Name("EncodeParameter")->Arg(kSize);
BENCHMARK_CAPTURE(Encode, Words, EncodeWordsInParameter)->Name("EncodeParameterWords")->Arg(kSize);
BENCHMARK_CAPTURE(Encode, Fold, Encoding::FoldHeader)->Name("FoldHeader")->Arg(kSize);
BENCHMARK_CAPTURE(Encode, Quote, Encoding::Quote)->Name("Quote")->Arg(kSize);
BENCHMARK(SerializeFields)->Name("HeaderMapSerialize")->Arg(kSize);
BENCHMARK(SerializeTree)->Name("PartSerialize")->Arg(kSize);

BENCHMARK_CAPTURE(Encode, ScaleQEncode, EncodeWords)
    ->Name("Scale/QEncode")
    ->RangeMultiplier(32)
    ->Range(kSmallest, kLargest);
BENCHMARK_CAPTURE(Encode, ScaleExtended, EncodeExtended)
    ->Name("Scale/EncodeParameter")
    ->RangeMultiplier(32)
    ->Range(kSmallest, kLargest);
BENCHMARK_CAPTURE(Encode, ScaleFold, Encoding::FoldHeader)
    ->Name("Scale/FoldHeader")
    ->RangeMultiplier(32)
    ->Range(kSmallest, kLargest);
BENCHMARK(SerializeFields)
    ->Name("Scale/HeaderMapSerialize")
    ->RangeMultiplier(32)
    ->Range(kSmallest, kLargest);
BENCHMARK(SerializeTree)
    ->Name("Scale/PartSerialize")
    ->RangeMultiplier(32)
    ->Range(kSmallest, kLargest);

}  // namespace
}  // namespace MIME::Bench

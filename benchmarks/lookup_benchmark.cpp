// The lookups between extensions and media types, compared with a std::unordered_map of the same keys.
// (The map is asked in lower case; our lookups also fold the case.)

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "benchmarks/limit.h"
#include "mime/mime.h"

namespace MIME::Bench {
namespace {

/// Every media type that has an extension, with that extension.
const std::vector<std::pair<std::string, std::string>>& GetTypes() {
    static const auto types = [] {
        std::vector<std::pair<std::string, std::string>> found;
        for (unsigned type = 1; !Type::GetStr(Type::keys(type)).IsEmpty(); ++type) {
            for (unsigned sub = 1; !SubType::GetStr(SubType::keys(sub)).IsEmpty(); ++sub) {
                const AnsiStr text = CanonicType(Type::keys(type), SubType::keys(sub));
                AnsiStr extension;
                if (!GetExtFromTypeStr(text, extension)) continue;
                found.emplace_back(std::string(text), std::string(extension));
            }
        }
        return found;
    }();
    return types;
}

std::vector<std::string> GetKeys(bool extensions, bool known) {
    std::set<std::string> keys;
    for (const auto& [type, extension] : GetTypes()) {
        keys.insert((extensions ? extension : type) + (known ? "" : "-unknown"));
    }
    return {keys.begin(), keys.end()};
}

void SetKeysAndLimit(benchmark::State& state, size_t keys, const std::string& limit) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys));
    state.SetLabel(limit);
}

template <class Lookup>
void MeasureLookup(benchmark::State& state, const std::vector<std::string>& keys, Lookup lookup) {
    const std::vector<AnsiStr> texts(keys.begin(), keys.end());
    for (auto step : state) {
        for (const AnsiStr& text : texts) lookup(text);
    }
}

void ExtToType(benchmark::State& state, bool known) {
    const auto keys = GetKeys(true, known);
    MeasureLookup(state, keys, [](const AnsiStr& ext) {
        ContentType type;
        benchmark::DoNotOptimize(GetTypeFromExt(ext, type));
        benchmark::DoNotOptimize(type.type);
    });
    SetKeysAndLimit(state, keys.size(), known ? "MapOfExts/known" : "MapOfExts/unknown");
}
BENCHMARK_CAPTURE(ExtToType, known, true);
BENCHMARK_CAPTURE(ExtToType, unknown, false);

void ExtToTypeStr(benchmark::State& state, bool known) {
    const auto keys = GetKeys(true, known);
    MeasureLookup(state, keys, [](const AnsiStr& ext) {
        AnsiStr type;
        benchmark::DoNotOptimize(GetTypeStrFromExt(ext, type));
        benchmark::DoNotOptimize(type.GetStr());
    });
    SetKeysAndLimit(state, keys.size(), known ? "MapOfExts/known" : "MapOfExts/unknown");
}
BENCHMARK_CAPTURE(ExtToTypeStr, known, true);

void TypeStrToExt(benchmark::State& state, bool known) {
    const auto keys = GetKeys(false, known);
    MeasureLookup(state, keys, [](const AnsiStr& type) {
        AnsiStr ext;
        benchmark::DoNotOptimize(GetExtFromTypeStr(type, ext));
        benchmark::DoNotOptimize(ext.GetStr());
    });
    SetKeysAndLimit(state, keys.size(), known ? "MapOfTypes/known" : "MapOfTypes/unknown");
}
BENCHMARK_CAPTURE(TypeStrToExt, known, true);
BENCHMARK_CAPTURE(TypeStrToExt, unknown, false);

void MapLookup(benchmark::State& state, bool extensions, bool known) {
    std::unordered_map<std::string, std::string> map;
    for (const auto& [type, extension] : GetTypes()) {
        extensions ? map.emplace(extension, type) : map.emplace(type, extension);
    }
    const auto keys = GetKeys(extensions, known);
    for (auto step : state) {
        for (const std::string& key : keys) benchmark::DoNotOptimize(map.find(key));
    }
    SetKeysAndLimit(state, keys.size(), "");
}
BENCHMARK_CAPTURE(MapLookup, known, true, true)->Name("MapOfExts/known");
BENCHMARK_CAPTURE(MapLookup, unknown, true, false)->Name("MapOfExts/unknown");
BENCHMARK_CAPTURE(MapLookup, known, false, true)->Name("MapOfTypes/known");
BENCHMARK_CAPTURE(MapLookup, unknown, false, false)->Name("MapOfTypes/unknown");

}  // namespace
}  // namespace MIME::Bench

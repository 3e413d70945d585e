#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "colours.h"
#include "commands.h"
#include "differences.h"
#include "escape.h"
#include "inputs.h"
#include "json_text.h"
#include "output.h"

// "diff": reads the two messages and prints what differences.h finds.

namespace Tool {

namespace {

constexpr int kDiffers = 1;
constexpr int kNotComparable = 2;

/// One of the two messages.
class Side {
public:
    explicit Side(const std::string& file) {
        sources_.files = {file};
        Inputs inputs(sources_, Inputs::Quoting::asInFile);
        std::optional<Input> input = inputs.Next();
        if (!input) throw Failure(file, "has no message");
        if (!input->isAlone) throw Failure(file, "only one message can be compared with another");
        input_ = std::move(*input);
        if (!input_.failure.empty()) throw Failure(input_.name, input_.failure);
        mail_.emplace(ReadMail(input_, sources_));
    }

    const Input& GetInput() const { return input_; }
    const MIME::Mail& GetMail() const { return *mail_; }

private:
    Sources sources_;
    Input input_;
    std::optional<MIME::Mail> mail_;
};

std::string MakeHeadline(const Difference& found) {
    std::string line = found.index.empty() ? "" : found.index + ": ";
    line += found.name.empty() ? found.kind : Escape(found.name);
    if (found.offset) line += ", from byte " + std::to_string(*found.offset);
    return line + "\n";
}

void PrintLines(const Side& a, const Side& b, const std::vector<Difference>& differences) {
    if (differences.empty()) return;
    Print(Paint(Colour::bold, "--- " + Escape(a.GetInput().name)) + "\n");
    Print(Paint(Colour::bold, "+++ " + Escape(b.GetInput().name)) + "\n");
    for (const Difference& found : differences) {
        Print(MakeHeadline(found));
        if (found.a) Print(Paint(Colour::red, "- " + Escape(*found.a)) + "\n");
        if (found.b) Print(Paint(Colour::green, "+ " + Escape(*found.b)) + "\n");
    }
}

void DescribeSide(JsonText& json, const char* key, const Side& side) {
    const Input& input = side.GetInput();
    json.Key(key).Open('{').Key("file").Text(input.file);
    json.Key("offset").Number(static_cast<int64_t>(input.offset));
    json.Key("length").Number(static_cast<int64_t>(input.text.size())).Close('}');
}

void PrintJson(const Side& a, const Side& b, const std::vector<Difference>& differences) {
    JsonText json;
    json.Open('{').Key("schema").Number(kSchema);
    DescribeSide(json, "a", a);
    DescribeSide(json, "b", b);
    json.Key("differences").Open('[');
    for (const Difference& found : differences) {
        json.Open('{').Key("kind").Text(found.kind).Key("index").TextOrNull(found.index);
        json.Key("name").TextOrNull(found.name);
        json.Key("a");
        found.a ? json.Text(*found.a) : json.Null();
        json.Key("b");
        found.b ? json.Text(*found.b) : json.Null();
        json.Key("offset");
        found.offset ? json.Number(static_cast<int64_t>(*found.offset)) : json.Null();
        json.Close('}');
    }
    json.Close(']').Close('}');
    Print(json.Take() + "\n");
}

}  // namespace

int Diff(const DiffOptions& options) {
    try {
        const Side a(options.a);
        const Side b(options.b);
        const auto differences = FindDifferences(a.GetMail(), b.GetMail(), options.contentOnly);
        options.json ? PrintJson(a, b, differences) : PrintLines(a, b, differences);
        FinishOutput();
        return differences.empty() ? 0 : kDiffers;
    } catch (const Failure& failure) {
        PrintError(failure.what());
        return kNotComparable;
    }
}

}  // namespace Tool

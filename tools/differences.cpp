#include "differences.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "kivgui/ascii.h"
#include "message.h"

// Entities are matched by index and fields by name, so that each is looked at once, whatever the messages
// are like. An entity that is put before others therefore differs from all that it pushes back.

namespace Tool {

namespace {

using KivGuiBase::EqualsCaseless;
using MIME::Entity;

constexpr std::array<std::string_view, 3> kTakenApart = {"Content-Type", "Content-Disposition",
                                                         "Content-Transfer-Encoding"};

bool IsTakenApart(std::string_view name) {
    return std::any_of(kTakenApart.begin(), kTakenApart.end(),
                       [name](std::string_view one) { return EqualsCaseless(one, name); });
}

/// Where two texts begin to differ; their size when they are equal.
size_t FindMismatch(std::string_view a, std::string_view b) {
    return static_cast<size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first -
                               a.begin());
}

std::string FormatSize(uint64_t size) {
    return std::to_string(size) + " bytes";
}

/// A message as a list of entities that can be looked up.
class Entities {
public:
    explicit Entities(const MIME::Mail& mail) : outline_(mail), entities_(ListEntities(mail)) {
        for (size_t i = 0; i < entities_.size(); ++i) places_.emplace(outline_[i].index, i);
    }

    size_t GetCount() const { return entities_.size(); }
    const Entity& operator[](size_t place) const { return entities_[place]; }
    const std::string& GetIndex(size_t place) const { return outline_[place].index; }

    std::optional<size_t> Find(const std::string& index) const {
        const auto found = places_.find(index);
        return found != places_.end() ? std::optional(found->second) : std::nullopt;
    }
    /// Is it missing in the other message, and the entity around it is not?
    bool IsFirstMissing(size_t place, const Entities& other) const {
        if (other.Find(GetIndex(place))) return false;
        const size_t parent = outline_[place].parent;
        return parent == Place::kNoParent || other.Find(GetIndex(parent)).has_value();
    }

private:
    const Outline outline_;
    const std::vector<Entity> entities_;
    std::unordered_map<std::string, size_t> places_;
};

/// The fields of an entity, by name in lower case.
struct Fields {
    struct One {
        std::string key;
        std::string name;
        std::string value;
        bool isMatched = false;
    };
    std::vector<One> all;
    std::unordered_map<std::string, std::vector<size_t>> byName;

    explicit Fields(const Entity& entity) {
        for (const MIME::Field& field : entity.GetFields()) {
            // These three are compared by what they say, elsewhere.
            std::string value = IsTakenApart(field.name) ? std::string() : field.GetText();
            all.push_back({KivGuiBase::MakeLowerAscii(field.name), std::string(field.name),
                           std::move(value)});
            byName[all.back().key].push_back(all.size() - 1);
        }
    }
    const std::vector<size_t>& Find(const std::string& key) const {
        static const std::vector<size_t> kNone;
        const auto found = byName.find(key);
        return found != byName.end() ? found->second : kNone;
    }
};

class Comparison {
public:
    Comparison(const MIME::Mail& a, const MIME::Mail& b, bool contentOnly)
        : a_(a), b_(b), contentOnly_(contentOnly) {}

    void CompareEntities() {
        for (size_t i = 0; i < a_.GetCount(); ++i) {
            if (const auto other = b_.Find(a_.GetIndex(i))) {
                index_ = a_.GetIndex(i);
                Compare(a_[i], b_[*other]);
            } else if (a_.IsFirstMissing(i, b_)) {
                found_.push_back({"entity", a_.GetIndex(i), {}, Name(a_[i]), {}, {}});
            }
        }
        for (size_t i = 0; i < b_.GetCount(); ++i) {
            if (!b_.IsFirstMissing(i, a_)) continue;
            found_.push_back({"entity", b_.GetIndex(i), {}, {}, Name(b_[i]), {}});
        }
    }

    void CompareBytes(std::string_view a, std::string_view b) {
        const size_t at = FindMismatch(a, b);
        if (at == a.size() && at == b.size()) return;
        found_.push_back({"bytes", {}, {}, FormatSize(a.size()), FormatSize(b.size()), at});
    }

    std::vector<Difference> Take() { return std::move(found_); }

private:
    static std::string Name(const Entity& entity) {
        const std::string name = entity.GetFileName();
        return entity.GetMediaType() + (name.empty() ? "" : ", \"" + name + "\"");
    }

    static std::optional<std::string> Present(std::string text) {
        return text.empty() ? std::nullopt : std::optional(std::move(text));
    }

    void Note(const char* kind, std::string a, std::string b) {
        if (a == b) return;
        found_.push_back(
            {kind, index_, {}, Present(std::move(a)), Present(std::move(b)), std::nullopt});
    }

    void Compare(const Entity& a, const Entity& b) {
        Note("type", a.GetMediaType(), b.GetMediaType());
        if (!contentOnly_) Note("encoding", GetEncoding(a), GetEncoding(b));
        Note("charset", KivGuiBase::MakeLowerAscii(a.GetCharset()),
             KivGuiBase::MakeLowerAscii(b.GetCharset()));
        Note("disposition", a.GetDisposition(), b.GetDisposition());
        Note("fileName", a.GetFileName(), b.GetFileName());
        Note("parameters", GetOtherParameters(a), GetOtherParameters(b));
        if (!a.IsUuencoded() && !b.IsUuencoded()) CompareFields(Fields(a), Fields(b));
        if (!a.HasChildren() && !b.HasChildren()) CompareBodies(a, b);
    }

    static std::string GetEncoding(const Entity& entity) {
        const auto field = entity.FindField("Content-Transfer-Encoding");
        return field ? KivGuiBase::MakeLowerAscii(field->GetValue()) : std::string();
    }

    std::string GetOtherParameters(const Entity& entity) const {
        std::string text;
        for (const std::string_view name : {"Content-Type", "Content-Disposition"}) {
            const auto field = entity.FindField(name);
            if (!field) continue;
            for (const MIME::Parameter& parameter : field->GetParameters()) {
                const std::string key = KivGuiBase::MakeLowerAscii(parameter.name);
                if (key == "charset" || key == "name" || key == "filename") continue;
                if (contentOnly_ && key == "boundary") continue;
                text += (text.empty() ? "" : "; ") + key + "=" + parameter.value;
            }
        }
        return text;
    }

    void CompareFields(Fields a, Fields b) {
        for (size_t i = 0; i < a.all.size(); ++i) {
            if (a.Find(a.all[i].key).front() == i) CompareFieldsOfOneName(a.all[i].key, a, b);
        }
        for (size_t i = 0; i < b.all.size(); ++i) {
            const std::string& key = b.all[i].key;
            if (a.Find(key).empty() && b.Find(key).front() == i) CompareFieldsOfOneName(key, a, b);
        }
        if (!contentOnly_) CompareOrder(a, b);
    }

    /// Values that both have are equal, wherever they are; of the others the first is compared with the
    /// first.
    void CompareFieldsOfOneName(const std::string& key, Fields& a, Fields& b) {
        if (IsTakenApart(key)) return;
        std::unordered_map<std::string_view, std::vector<size_t>> values;
        const std::vector<size_t>& ofB = b.Find(key);
        for (size_t i = ofB.size(); i-- > 0;) values[b.all[ofB[i]].value].push_back(ofB[i]);
        std::vector<size_t> left;
        for (const size_t place : a.Find(key)) {
            std::vector<size_t>& equal = values[a.all[place].value];
            if (equal.empty()) {
                left.push_back(place);
                continue;
            }
            a.all[place].isMatched = b.all[equal.back()].isMatched = true;
            equal.pop_back();
        }
        auto next = left.begin();
        for (const size_t place : ofB) {
            const Fields::One& field = b.all[place];
            if (field.isMatched) continue;
            std::optional<std::string> old;
            if (next != left.end()) old = a.all[*next++].value;
            found_.push_back({"field", index_, field.name, old, field.value, {}});
        }
        for (; next != left.end(); ++next) {
            const Fields::One& field = a.all[*next];
            found_.push_back({"field", index_, field.name, field.value, {}, {}});
        }
    }

    void CompareOrder(const Fields& a, const Fields& b) {
        const auto skip = [](const Fields& fields, size_t at) {
            while (at < fields.all.size() && !fields.all[at].isMatched) ++at;
            return at;
        };
        size_t i = skip(a, 0);
        size_t k = skip(b, 0);
        while (i < a.all.size() && k < b.all.size() && a.all[i].key == b.all[k].key &&
               a.all[i].value == b.all[k].value) {
            i = skip(a, i + 1);
            k = skip(b, k + 1);
        }
        if (i < a.all.size()) found_.push_back({"order", index_, {}, {}, {}, {}});
    }

    void CompareBodies(const Entity& a, const Entity& b) {
        const bool isAlike = a.GetRawBody() == b.GetRawBody() && GetEncoding(a) == GetEncoding(b) &&
                             a.IsUuencoded() == b.IsUuencoded();
        if (isAlike) return;
        std::string bodyA = a.Decode();
        std::string bodyB = b.Decode();
        if (contentOnly_ && a.IsType("text/*")) {
            for (std::string* body : {&bodyA, &bodyB}) JoinLineEnds(*body);
        }
        const size_t at = FindMismatch(bodyA, bodyB);
        if (at == bodyA.size() && at == bodyB.size()) return;
        found_.push_back(
            {"body", index_, {}, FormatSize(bodyA.size()), FormatSize(bodyB.size()), at});
    }

    /// CR LF becomes LF.
    static void JoinLineEnds(std::string& text) {
        size_t end = 0;
        for (size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') {
                text[end++] = text[i];
            }
        }
        text.resize(end);
    }

    const Entities a_;
    const Entities b_;
    const bool contentOnly_;
    std::string index_;  ///< of the entities that are being compared
    std::vector<Difference> found_;
};

}  // namespace

std::vector<Difference> FindDifferences(const MIME::Mail& a, const MIME::Mail& b,
                                        bool contentOnly) {
    Comparison comparison(a, b, contentOnly);
    comparison.CompareEntities();
    if (!contentOnly) comparison.CompareBytes(a.GetSource(), b.GetSource());
    return comparison.Take();
}

}  // namespace Tool

#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"
#include "mime/foundation/char_class.h"
#include "mime/mime.h"

// Walks file name and subject side by side, in runs: a run of letters and digits, or one character.
// Equal runs advance both. Where they differ, separators and characters that a file name cannot have
// may be missing on one side; a long file name may also end early, because programs cut names. Names of
// devices are compared apart from the walk. Takes time linear in both texts.

namespace MIME {

using KivGuiBase::IsAscii;
using KivGuiBase::MeasureUtf8Group;

namespace {

/// From this many bytes on, a file name may have been cut short.
constexpr size_t kCutLength = 100;

/// The end of a text counts as a separator.
constexpr bool IsSeparator(std::string_view text, size_t at) noexcept {
    return at >= text.size() || (IsAscii(text[at]) && !kAlphanumericBytes.Has(text[at]));
}

constexpr bool AreSeparators(std::string_view text) noexcept {
    for (size_t i = 0; i < text.size(); ++i) {
        if (!IsSeparator(text, i)) return false;
    }
    return true;
}

/// Length of the character at a place: a byte and, beyond ASCII, the continuation bytes after it.
constexpr size_t MeasureCharacter(std::string_view text, size_t at) noexcept {
    if (at >= text.size()) return 0;
    const std::string_view rest = text.substr(at);
    return IsAscii(rest.front()) ? 1 : MeasureUtf8Group(rest, rest.size());
}

constexpr bool AreEqual(std::string_view a, std::string_view b, bool ignoreCase) noexcept {
    return ignoreCase ? KivGuiBase::EqualsCaseless(a, b) : a == b;
}

bool IsDevice(std::string_view name, bool ignoreCase) noexcept {
    for (const char* device : {"NUL", "AUX", "CON"}) {
        if (AreEqual(name, device, ignoreCase)) return true;
    }
    return false;
}

/// A serial or parallel port: "COM" or "LPT" and one digit.
bool IsPort(std::string_view name, bool ignoreCase) noexcept {
    return name.size() == 4 && KivGuiBase::IsDigitAscii(name[3]) &&
           (AreEqual(name.substr(0, 3), "COM", ignoreCase) ||
            AreEqual(name.substr(0, 3), "LPT", ignoreCase));
}

/// A subject that no file may have as its name, between two separators.
bool IsWrappedReservedName(std::string_view file, std::string_view subject,
                           bool ignoreCase) noexcept {
    if (subject.empty() || subject.size() > 4 || file.size() != subject.size() + 2) return false;
    if (!IsSeparator(file, 0) || !IsSeparator(file, file.size() - 1)) return false;
    if (!AreEqual(file.substr(1, subject.size()), subject, true)) return false;
    return subject == "." || subject == ".." || IsDevice(subject, ignoreCase) ||
           IsPort(subject, ignoreCase);
}

/// The same, with a separator for its last character.
bool IsAlteredReservedName(std::string_view file, std::string_view subject,
                           bool ignoreCase) noexcept {
    if (file.size() != subject.size() || file.empty()) return false;
    const size_t last = file.size() - 1;
    return (IsDevice(subject, ignoreCase) || IsPort(subject, ignoreCase)) &&
           AreEqual(file.substr(0, last), subject.substr(0, last), ignoreCase) &&
           IsSeparator(file, last);
}

/// Walks file name and subject side by side.
class SubjectWalk {
public:
    SubjectWalk(std::string_view file, std::string_view subject, bool ignoreCase) noexcept
        : wholeFile_(file), file_(file), subject_(subject), ignoreCase_(ignoreCase) {
        if (file_.starts_with('[') && file_.ends_with(']')) {
            file_ = file_.substr(0, file_.size() - 1);
            f_ = 1;
        }
    }

    bool Run() noexcept {
        if (subject_.empty()) return false;
        while (f_ < file_.size() && s_ < subject_.size()) {
            size_t subjectRun = 0;
            size_t fileRun = 0;
            MeasureRuns(subjectRun, fileRun);
            if (AreEqual(subject_.substr(s_, subjectRun), file_.substr(f_, fileRun), ignoreCase_)) {
                matched_ = true;
                pending_ = 0;
                s_ += subjectRun;
                f_ += fileRun;
            } else if (IsSeparator(file_, f_)) {
                if (pending_ == 0 && !IsSeparator(subject_, s_)) return IsCutHere();
                ++f_;  // a separator was added to the file name
            } else if (IsSeparator(subject_, s_)) {
                ++pending_;
                ++s_;  // it was dropped, or replaced by any character
            } else if (pending_ == 0) {
                return false;
            } else {
                for (; pending_ != 0; --pending_) f_ += MeasureCharacter(file_, f_);
            }
        }
        if (!matched_ || f_ < file_.size()) return false;
        return s_ >= subject_.size() || wholeFile_.size() >= kCutLength ||
               AreSeparators(subject_.substr(s_));
    }

private:
    /// The letters and digits that follow in both texts, up to the shorter run; one character of each
    /// when a separator follows in either.
    void MeasureRuns(size_t& subjectRun, size_t& fileRun) const noexcept {
        while (!IsSeparator(subject_, s_ + subjectRun) && !IsSeparator(file_, f_ + fileRun)) {
            subjectRun += MeasureCharacter(subject_, s_ + subjectRun);
            fileRun += MeasureCharacter(file_, f_ + fileRun);
        }
        if (subjectRun != 0) return;
        subjectRun = MeasureCharacter(subject_, s_);
        fileRun = MeasureCharacter(file_, f_);
    }

    /// The subject goes on where the file name ends. Returns true if the name may have been cut.
    bool IsCutHere() const noexcept {
        return wholeFile_.size() >= kCutLength && AreSeparators(file_.substr(f_));
    }

    std::string_view wholeFile_;
    std::string_view file_;  ///< up to the closing bracket
    std::string_view subject_;
    bool ignoreCase_;
    size_t f_ = 0;
    size_t s_ = 0;
    size_t pending_ = 0;  ///< separators of the subject skipped since the last match
    bool matched_ = false;
};

std::string_view TakeExtension(std::string_view& text) noexcept {
    const size_t dot = std::min(text.rfind('.'), text.size());
    const std::string_view extension = text.substr(dot);
    text = text.substr(0, dot);
    return extension;
}

}  // namespace

bool IsFilenameDerivedFromSubject(const AnsiStr& filename, const AnsiStr& subject,
                                  bool compareExtensions, bool ignoreCase) noexcept {
    std::string_view file = GetCText(filename);
    std::string_view wanted = GetCText(subject);
    if (compareExtensions && !AreEqual(TakeExtension(file), TakeExtension(wanted), true)) {
        return false;
    }
    return (file.empty() && wanted.empty()) || IsWrappedReservedName(file, wanted, ignoreCase) ||
           IsAlteredReservedName(file, wanted, ignoreCase) ||
           SubjectWalk(file, wanted, ignoreCase).Run();
}

}  // namespace MIME

#include "fuzz/text_mutator.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

namespace MIME::Fuzz {

namespace {

/// A line that begins with "--".
struct BoundaryLine {
    size_t begin;
    size_t end;  ///< after its line end
    std::string boundary;
    bool isClosing;
};

std::vector<BoundaryLine> FindBoundaryLines(std::string_view text) {
    constexpr size_t kLongest = 200;
    std::vector<BoundaryLine> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        std::string_view line = text.substr(at, end - at);
        line = line.substr(0, line.find_last_not_of("\r\n") + 1);
        if (line.starts_with("--") && line.size() > 2 && line.size() <= kLongest) {
            const bool isClosing = line.size() > 4 && line.ends_with("--");
            line = line.substr(2, line.size() - (isClosing ? 4 : 2));
            lines.push_back({at, end, std::string(line), isClosing});
        }
        at = end;
    }
    return lines;
}

class StructureMutator {
public:
    StructureMutator(std::string& text, std::minstd_rand& random)
        : text_(text), random_(random), lines_(FindBoundaryLines(text)) {}

    void Mutate() {
        if (lines_.empty()) return WrapAll();
        constexpr void (StructureMutator::*kChanges[])() = {
            &StructureMutator::Copy,     &StructureMutator::Remove,
            &StructureMutator::Exchange, &StructureMutator::Wrap,
            &StructureMutator::Rename,   &StructureMutator::ToggleClosing,
            &StructureMutator::Insert,   &StructureMutator::ChangeEnds,
            &StructureMutator::AddField};
        (this->*kChanges[Below(std::size(kChanges))])();
    }

private:
    size_t Below(size_t count) { return random_() % count; }
    size_t ChooseLine() { return Below(lines_.size()); }

    size_t GetEnd(size_t line) const {
        return line + 1 < lines_.size() ? lines_[line + 1].begin : text_.size();
    }
    std::string GetPiece(size_t line) const {
        return text_.substr(lines_[line].begin, GetEnd(line) - lines_[line].begin);
    }

    void Copy() {
        const std::string piece = GetPiece(ChooseLine());
        text_.insert(lines_[ChooseLine()].begin, piece);
    }

    void Remove() {
        const size_t line = ChooseLine();
        text_.erase(lines_[line].begin, GetEnd(line) - lines_[line].begin);
    }

    void Exchange() {
        size_t first = ChooseLine();
        size_t second = ChooseLine();
        if (first == second) return;
        if (first > second) std::swap(first, second);
        const std::string begin = GetPiece(first);
        const std::string end = GetPiece(second);
        text_.replace(lines_[second].begin, end.size(), begin);
        text_.replace(lines_[first].begin, begin.size(), end);
    }

    /// A name that is new, or begins like another, or ends in what closes.
    std::string MakeBoundary() {
        const std::string old = lines_.empty() ? "b" : lines_[ChooseLine()].boundary;
        switch (Below(5)) {
            case 0:
                return old + "x";
            case 1:
                return old.size() > 1 ? old.substr(0, old.size() - 1) : "y";
            case 2:
                return old + "--";
            case 3:
                return "-" + old;
            default:
                return "n" + std::to_string(Below(10));
        }
    }

    void Wrap() {
        const size_t line = ChooseLine();
        const std::string boundary = MakeBoundary();
        text_.insert(GetEnd(line), "\r\n--" + boundary + "--\r\n");
        text_.insert(lines_[line].end, "Content-Type: multipart/mixed; boundary=\"" + boundary +
                                           "\"\r\n\r\n--" + boundary + "\r\n");
    }

    void WrapAll() {
        text_ =
            "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n" + text_ + "\r\n--b--\r\n";
    }

    void Rename() {
        const std::string old = lines_[ChooseLine()].boundary;
        const std::string boundary = MakeBoundary();
        for (const char* before : {"--", "boundary=", "boundary=\""}) {
            const std::string wanted = before + old;
            for (size_t at = 0; (at = text_.find(wanted, at)) != std::string::npos;) {
                text_.replace(at, wanted.size(), before + boundary);
                at += wanted.size() + boundary.size() - old.size();
            }
        }
    }

    void ToggleClosing() {
        const BoundaryLine& line = lines_[ChooseLine()];
        const size_t end = line.begin + 2 + line.boundary.size();
        if (line.isClosing) {
            text_.erase(end, 2);
        } else {
            text_.insert(end, "--");
        }
    }

    /// At any place of the text: delimiters inside lines are looked at, too.
    void Insert() {
        const size_t line = ChooseLine();
        const std::string whole =
            text_.substr(lines_[line].begin, lines_[line].end - lines_[line].begin);
        size_t at = Below(text_.size());
        if (Below(2) == 0) at = std::min(text_.find('\n', at), text_.size() - 1) + 1;
        text_.insert(at, whole);
    }

    void ChangeEnds() {
        const size_t line = ChooseLine();
        std::string piece;
        for (const char c : GetPiece(line)) {
            if (c == '\n' && !piece.ends_with('\r')) {
                piece += "\r\n";
            } else if (c == '\n') {
                piece.back() = '\n';
            } else {
                piece += c;
            }
        }
        text_.replace(lines_[line].begin, GetEnd(line) - lines_[line].begin, piece);
    }

    void AddField() {
        constexpr const char* kFields[] = {"Content-Transfer-Encoding: base64",
                                           "Content-Transfer-Encoding: quoted-printable",
                                           "Content-Type: message/rfc822",
                                           "Content-Type: multipart/digest; boundary=d",
                                           "Content-Length: 5",
                                           "Content-ID: <1>",
                                           "Content-Disposition: attachment; filename=\"a b\"",
                                           "Subject: =?utf-8?B?w6k=?=",
                                           " folded"};
        text_.insert(lines_[ChooseLine()].end,
                     std::string(kFields[Below(std::size(kFields))]) + "\r\n");
    }

    std::string& text_;
    std::minstd_rand& random_;
    const std::vector<BoundaryLine> lines_;
};

}  // namespace

void MutateStructure(std::string& text, std::minstd_rand& random) {
    StructureMutator(text, random).Mutate();
}

}  // namespace MIME::Fuzz

#include "mime/encoding/uuencode.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "kivgui/ascii.h"

// A line of data is a character that says how many bytes it holds, and 4 characters for each 3 bytes,
// from the 64 after " " ("`" is another " "). Prose rarely looks like this, because it has lower-case
// letters. A block is accepted when its first line of data has all its characters; lines before it may
// be short, if what is missing can be blanks. Each line is looked at once in a block, and once more
// where it was taken for data but no block came of it.

namespace MIME {

namespace {

using KivGuiBase::IsBlankAscii;
using Sink = std::function<bool(std::string_view piece)>;

/// Reads a text line by line.
class LineReader {
public:
    LineReader(std::string_view text, size_t offset) noexcept : text_(text), offset_(offset) {}

    bool IsAtEnd() const noexcept { return offset_ == text_.size(); }
    size_t GetOffset() const noexcept { return offset_; }

    /// The next line without its end. There must be one.
    std::string_view Take() noexcept {
        const size_t found = text_.find('\n', offset_);
        const size_t end = std::min(found, text_.size());
        std::string_view line = text_.substr(offset_, end - offset_);
        offset_ = found == std::string_view::npos ? end : end + 1;
        if (line.ends_with('\r')) line.remove_suffix(1);
        return line;
    }

private:
    std::string_view text_;
    size_t offset_;
};

std::string_view TrimEnd(std::string_view line) noexcept {
    while (!line.empty() && IsBlankAscii(line.back())) line.remove_suffix(1);
    return line;
}

std::string_view SkipBlanks(std::string_view line) noexcept {
    while (!line.empty() && IsBlankAscii(line.front())) line.remove_prefix(1);
    return line;
}

// ------------------------------------------------------------------------------------- lines --

constexpr bool IsUuCharacter(char c) noexcept {
    return c >= ' ' && c <= '`';
}

constexpr unsigned GetUuValue(char c) noexcept {
    return static_cast<unsigned>(c - ' ') & 63;
}

enum class LineKind {
    other,
    whole,  ///< data with all its characters
    cut,    ///< data, if what is missing at its end was blanks
    zero,   ///< holds 0 bytes, as the line before "end" does; an empty line, too
    end,
};

/// The characters that hold this many bytes; encoders may leave out those of the last 3 that hold none.
constexpr size_t CountNeeded(size_t bytes) noexcept {
    return (bytes * 8 + 5) / 6;
}
constexpr size_t CountPadded(size_t bytes) noexcept {
    return (bytes + 2) / 3 * 4;
}

LineKind Classify(std::string_view line) noexcept {
    const std::string_view trimmed = TrimEnd(line);
    if (trimmed == "end") return LineKind::end;
    if (trimmed.empty() || trimmed == "`") return LineKind::zero;
    if (!std::all_of(trimmed.begin(), trimmed.end(), IsUuCharacter)) return LineKind::other;
    const size_t bytes = GetUuValue(line.front());
    const size_t checksum = 1;
    if (bytes == 0 || trimmed.size() - 1 > CountPadded(bytes) + checksum) return LineKind::other;
    return line.size() - 1 >= CountNeeded(bytes) ? LineKind::whole : LineKind::cut;
}

/// Appends what a line of data holds.
void DecodeLine(std::string_view line, std::string& out) {
    const size_t bytes = GetUuValue(line.front());
    line.remove_prefix(1);
    const auto value = [line](size_t i) {
        return i < line.size() && IsUuCharacter(line[i]) ? GetUuValue(line[i]) : 0u;
    };
    const size_t before = out.size();
    for (size_t i = 0; out.size() - before < bytes; i += 4) {
        const unsigned group =
            value(i) << 18 | value(i + 1) << 12 | value(i + 2) << 6 | value(i + 3);
        const size_t count = std::min<size_t>(3, bytes - (out.size() - before));
        const char three[] = {static_cast<char>(group >> 16), static_cast<char>(group >> 8),
                              static_cast<char>(group)};
        out.append(three, count);
    }
}

// ------------------------------------------------------------------------------------ blocks --

/// Reads one block, line by line.
class BlockReader {
public:
    /// @param begin   the block, its line "begin" read.
    /// @param lines   at the line after that.
    /// @param sink    what receives the decoded bytes; null when only their number is wanted.
    BlockReader(UuBlock begin, LineReader lines, const Sink* sink)
        : block_(std::move(begin)), lines_(lines), sink_(sink) {}

    /// Returns nothing when the lines show that this is no block, or when the sink stopped it.
    std::optional<UuBlock> Read() {
        while (!block_.isComplete && !isStopped_ && !lines_.IsAtEnd()) {
            const std::string_view line = lines_.Take();
            if (Take(line)) {
                block_.malformedLines += malformed_;
                skipped_ = malformed_ = 0;
                block_.end = lines_.GetOffset();
            } else if (!Skip(line)) {
                break;
            }
        }
        if (!isStopped_ && !piece_.empty()) isStopped_ = !(*sink_)(piece_);
        if (!isAccepted_ || isStopped_) return {};
        return std::move(block_);
    }

private:
    /// Counts a line that holds no data. Returns false if the block ends before it.
    bool Skip(std::string_view line) {
        constexpr size_t kMost = 3;
        UuBlock next;
        if (++skipped_ > kMost || ReadUuBegin(line, next)) return false;
        if (TrimEnd(line).empty()) return true;
        ++malformed_;
        return isAccepted_;
    }

    /// Returns false if the line does not belong to the block.
    bool Take(std::string_view line) {
        const LineKind kind = Classify(line);
        switch (kind) {
            case LineKind::end:
                block_.isComplete = true;
                isAccepted_ = true;
                return true;
            case LineKind::zero:
                hasZero_ = true;
                return line.starts_with('`');
            case LineKind::whole:
            case LineKind::cut:
                if (kind == LineKind::cut && !CanBeCut(line)) return false;
                isAccepted_ = isAccepted_ || kind == LineKind::whole;
                return TakeData(line);
            case LineKind::other:
                break;
        }
        return false;
    }

    /// A line can lack blanks only where zeros are written as blanks and data can still follow: the
    /// last line of data is shorter than the others, and what follows it is often prose.
    bool CanBeCut(std::string_view line) const noexcept {
        return !hasGraves_ && !isLast_ && !hasZero_ && line.find('`') == std::string_view::npos;
    }

    bool TakeData(std::string_view line) {
        const size_t bytes = GetUuValue(line.front());
        isLast_ = bytes < lineBytes_;
        lineBytes_ = std::max(lineBytes_, bytes);
        hasGraves_ = hasGraves_ || line.find('`') != std::string_view::npos;
        block_.decodedSize += bytes;
        if (sink_ != nullptr) Give(line);
        return true;
    }

    void Give(std::string_view line) {
        constexpr size_t kPiece = 0x8000;
        DecodeLine(line, piece_);
        if (piece_.size() < kPiece) return;
        isStopped_ = !(*sink_)(piece_);
        piece_.clear();
    }

    UuBlock block_;
    LineReader lines_;
    const Sink* sink_;
    std::string piece_;
    bool isStopped_ = false;   ///< by the sink
    bool isAccepted_ = false;  ///< what was read can be nothing but a block
    bool hasGraves_ = false;   ///< zeros are written as "`"
    bool hasZero_ = false;     ///< a line of 0 bytes was read
    bool isLast_ = false;      ///< the last line of data was shorter than another
    size_t lineBytes_ = 0;     ///< the most that a line held
    size_t skipped_ = 0;       ///< lines since the last that belongs to the block
    size_t malformed_ = 0;     ///< those of them that are not empty
};

std::optional<UuBlock> ReadBlock(std::string_view text, size_t begin, const Sink* sink) {
    LineReader lines(text, begin);
    UuBlock block;
    block.begin = begin;
    if (!ReadUuBegin(lines.Take(), block)) return {};
    block.end = lines.GetOffset();
    return BlockReader(std::move(block), lines, sink).Read();
}

/// The first `most` blocks that `isWanted`.
template <class IsWanted>
std::vector<UuBlock> FindBlocks(std::string_view text, size_t most, IsWanted isWanted) {
    std::vector<UuBlock> blocks;
    size_t offset = 0;
    while (offset < text.size() && blocks.size() < most) {
        std::optional<UuBlock> block;
        if (text.substr(offset).starts_with("begin ")) block = ReadBlock(text, offset, nullptr);
        if (block) {
            offset = block->end;
            if (isWanted(*block)) blocks.push_back(*std::move(block));
        } else {
            offset = std::min(text.find('\n', offset), text.size() - 1) + 1;
        }
    }
    return blocks;
}

}  // namespace

bool ReadUuBegin(std::string_view line, UuBlock& block) {
    constexpr std::string_view kBegin = "begin ";
    constexpr size_t kMinDigits = 3;
    constexpr size_t kMaxDigits = 6;  // with the type of the file: "100644"
    if (!line.starts_with(kBegin)) return false;
    line = SkipBlanks(line.substr(kBegin.size()));
    const size_t digits = std::min(line.find_first_not_of("01234567"), line.size());
    if (digits < kMinDigits || digits > kMaxDigits) return false;
    unsigned mode = 0;
    for (const char c : line.substr(0, digits)) mode = mode * 8 + static_cast<unsigned>(c - '0');
    const std::string_view rest = line.substr(digits);
    const std::string_view name = TrimEnd(SkipBlanks(rest));
    if (name.empty() || name.size() == rest.size()) return false;
    block.mode = mode & 07777;
    block.name = name;
    return true;
}

std::vector<UuBlock> FindUuencoded(std::string_view text) {
    return FindBlocks(text, SIZE_MAX, [](const UuBlock&) { return true; });
}

std::vector<UuBlock> FindUuencodedFiles(std::string_view text, size_t most) {
    return FindBlocks(text, most, [](const UuBlock& block) {
        return block.isComplete && block.decodedSize != 0;
    });
}

std::string DecodeUuencoded(std::string_view text, const UuBlock& block) {
    std::string file;
    file.reserve(block.decodedSize);
    DecodeUuencoded(text, block, [&file](std::string_view piece) {
        file += piece;
        return true;
    });
    return file;
}

bool DecodeUuencoded(std::string_view text, const UuBlock& block,
                     const std::function<bool(std::string_view piece)>& sink) {
    return block.begin < text.size() && ReadBlock(text, block.begin, &sink).has_value();
}

}  // namespace MIME

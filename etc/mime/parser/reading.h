#pragma once

#include <cstdint>
#include <string_view>

#include "mime/foundation/passed_pages.h"
#include "mime/parser/read_limits.h"
#include "mime/parser/report.h"
#include "mime/read_options.h"

namespace MIME {

/// The reader's place in the text. Every reading step shares one by reference and moves it forward
/// only. (A multipart that turns out to be one body is the only text that is read twice.)
class Cursor {
public:
    Cursor(const char* text, uint64_t size) noexcept : next_(text), left_(size) {}

    /// At the message in `text`: what does no harm before its header block, a byte-order mark and
    /// blank lines, is skipped.
    static Cursor AtMessage(std::string_view text) noexcept;

    const char* GetNext() const noexcept { return next_; }
    uint64_t GetLeft() const noexcept { return left_; }
    const char* GetEnd() const noexcept { return next_ + left_; }
    std::string_view GetRest() const noexcept { return {next_, static_cast<size_t>(left_)}; }

    /// Moves past `count` bytes, which must be there.
    void Skip(uint64_t count) noexcept {
        next_ += count;
        left_ -= count;
    }
    void SkipTo(const char* place) noexcept { Skip(static_cast<uint64_t>(place - next_)); }

private:
    const char* next_;
    uint64_t left_;
};

/// The line at a cursor, without its line end.
struct Line {
    enum class Kind {
        ended,   ///< a line end follows it
        rest,    ///< the text ends first
        hasNul,  ///< it holds a NUL, which the exact rules do not allow
    };

    Kind kind;
    std::string_view text;
    uint64_t extent;  ///< bytes from the cursor to the next line
};

/// Looks at the line at the cursor, which stays where it is.
///
/// Exact rules: CR LF ends a line, and NUL, CR and LF bytes at the end of the last line are cut off.
/// Mail rules: LF alone ends a line too, a NUL is text, and the last line is given as it is.
Line PeekLine(const Cursor& cursor, Rules rules) noexcept;

/// The same, and moves the cursor past the line.
Line TakeLine(Cursor& cursor, Rules rules) noexcept;

/// The text without the line end after it, if it has one.
std::string_view TrimLineEnd(std::string_view text, Rules rules) noexcept;

/// What one reading shares between its steps.
struct Reading {
    /// @param text  the whole text, in which places are counted.
    /// @param body  where reading begins in it.
    Reading(const char* text, const Cursor& body, AnsiStr& errorText, const ReadOptions& how,
            ReadReport* target) noexcept
        : cursor(body),
          rules(how.rules),
          options(how),
          error(errorText),
          limits(how, errorText),
          report(target, text) {}
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    bool IsMail() const noexcept { return rules == Rules::mail; }

    /// Sets the message; returns false, so that a step can end with it.
    bool Fail(const AnsiStr& message) noexcept {
        error = message;
        return false;
    }
    void Note(Deviation::keys kind, const char* where) { report.Note(kind, where); }

    /// Encoded messages inside encoded messages; deeper ones stay bodies, so that each byte of the text
    /// is decoded that often at most.
    static constexpr unsigned kMaxDecodedLevels = 8;

    Cursor cursor;
    unsigned decodedLevels = 0;         ///< encoded messages around the cursor
    const char* encodedName = nullptr;  ///< a "name" of Content-Type that has an encoded word
    PassedPages passed;                 ///< for a text that is a mapped file
    const Rules rules;
    const ReadOptions& options;
    AnsiStr& error;
    Limits limits;
    Report report;
};

}  // namespace MIME

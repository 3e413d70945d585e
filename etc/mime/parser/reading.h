#pragma once

#include "mime/parser/cursor.h"
#include "mime/parser/limits.h"
#include "mime/parser/report.h"

namespace MIME {

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

    Cursor cursor;
    const Rules rules;
    const ReadOptions& options;
    AnsiStr& error;
    Limits limits;
    Report report;
};

}  // namespace MIME

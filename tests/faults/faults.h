#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "mime/mime.h"

// One call that the library makes of the C library, or a few, fails, and what comes of it is looked
// at. The linker puts the functions of platform/posix/injection.cpp before those of the C library,
// for everything in this program; only what is called between Arm and Disarm counts.

namespace MIME::Faults {

enum Kind : unsigned {
#define FAULT_KIND(key, text, error, code, mustSucceed) key,
#include "faults/kinds.inc"
    kKinds,  ///< their number; also: no fault at all
};

/// The fault to inject, and what was seen while it was armed.
struct Injection {
    Kind kind = kKinds;
    unsigned long n = 0;     ///< the call of that kind that fails, from 1
    bool isLasting = false;  ///< later ones fail too, those for memory whatever their kind
    bool hasFired = false;
    unsigned long calls[kKinds] = {};
    long blocks = 0, files = 0, maps = 0;  ///< made while armed and not given back yet
    bool hasBadClose = false;              ///< a file was closed that was not open
    int frameCount = 0;
    void* frames[32] = {};  ///< the callers of the first call that failed
};
extern Injection* injection;  ///< never null
void Arm() noexcept;
void Disarm() noexcept;
/// Takes over the memory of the cryptography library, before its first use.
void InjectIntoCryptography();

/// What an operation gets and gives. Everything that is made while armed counts as the library's, so
/// the arguments are made before.
struct State {
    AnsiStr in;
    Message source;

    // The results, new for each try.
    std::array<AnsiStr, 12> texts;
    std::optional<Part> tree;
    ReadReport report;
};

enum Trait : unsigned {
    kCold = 1,         ///< meant to be the first call of the process
    kGoesOn = 2,       ///< the second try works on what the first one left
    kAtomic = 4,       ///< a failure leaves the results as they were
    kLeavesFiles = 8,  ///< body files stay; after a failure perhaps some that nobody names
    kSigns = 16,       ///< the result is a signed message, the last error perhaps another layer's
};

struct Operation {
    std::string name;
    std::string in;
    std::function<bool(State& state)> run;  ///< returns whether it succeeded
    unsigned traits = 0;
    unsigned limit = 0;  ///< points of one kind to be tried; 0: all
    std::string body = {};    ///< the file that the source names
    std::string output = {};  ///< the file that is written, shown with the results
};

/// Cold ones first. The folder is for files that they read and write.
std::vector<Operation> GetOperations(const std::string& folder);

/// Makes the arguments of an operation.
void Prepare(State& state, const Operation& operation);

}  // namespace MIME::Faults

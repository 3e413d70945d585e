#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "mime/mime.h"

// A call that the library makes of the C library fails, and what comes of it is looked at. The
// linker puts the functions of platform/posix/injection.cpp before those of the C library, for
// everything in this program; only what is called between Arm and Disarm, on that thread, counts.

namespace MIME::Faults {

enum Kind : unsigned {
#define FAULT_KIND(key, text, error, code, mustSucceed) key,
#include "faults/kinds.inc"
    kKinds,  ///< their number; also: no fault at all
};

/// The fault to inject, and what was seen.
struct Injection {
    Kind kind = kKinds;
    unsigned long n = 0;     ///< the call of that kind that fails, from 1
    bool isLasting = false;  ///< later ones fail too, those for memory whatever their kind
    bool isOver = false;     ///< no call fails any more, nor is it counted
    unsigned long calls[kKinds] = {};
    long blocks = 0, files = 0, maps = 0;  ///< made while armed and not given back yet
    long cryptographyBlocks = 0;           ///< likewise, those of the cryptography library
    bool hasFired = false;
    bool hasBadClose = false;  ///< a file was closed that was not open
    int frameCount = 0;
    void* frames[64] = {};  ///< the callers of the first call that failed
};
extern Injection* injection;  ///< never null
void Arm() noexcept;
void Disarm() noexcept;
/// Takes over the memory of the cryptography library, before its first use.
void InjectIntoCryptography();

/// What an operation gets and gives. The arguments are made unarmed, and no call may change them; the
/// results are emptied before each try.
struct State {
    AnsiStr in;
    Message source;
    File body, output;
    std::array<AnsiStr, 12> texts;
    std::array<unsigned long long, 4> numbers;
    Blob bytes;
    std::optional<Part> tree;
    ReadReport report;
};

enum Trait : unsigned {
    kPlain = 0,
    kCold = 1,         ///< meant to be the first call of the process; sampled
    kGoesOn = 2,       ///< the second try works on the results of the first one
    kAtomic = 4,       ///< a failure leaves the results as they were
    kLeavesFiles = 8,  ///< body files stay; after a failure perhaps some that nobody names
    kSigns = 16,       ///< the result is a signed message, the last error another layer's; sampled
    kLarge = 32,       ///< with bodies of more than 4 MiB; sampled
};

struct Operation {
    unsigned traits;
    std::string name, in;
    std::function<bool(State& s)> run;  ///< returns whether it succeeded
};

/// Cold ones first. The folder is for the files that they read and write.
std::vector<Operation> GetOperations(const std::string& folder);
/// Add those of mail.h: what reads, and what writes.
void AddMailOperations(std::vector<Operation>& all, const std::string& folder);
void AddWritingOperations(std::vector<Operation>& all, const std::string& folder);
/// Makes the arguments.
void Prepare(State& state, const Operation& operation, const std::string& folder);

}  // namespace MIME::Faults

#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace Tool {

/// SHA-256 (FIPS 180-4), by the system's cryptography; see platform/.
class Sha256 {
public:
    /// Was the program built with it?
    static bool IsAvailable();

    /// @throws std::bad_alloc. Not to be called unless it is available.
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Add(std::string_view bytes);
    /// The hash of all that was added, as 64 digits in lower case. Add begins a new text then.
    std::string Finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace Tool

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "binding.h"
#include "mime/read_options.h"

namespace Binding {

/// What a message has that the RFCs do not allow.
struct Deviation {
    std::string kind;
    std::string severity;
    std::string text;
    uint64_t offset = 0;
    std::string path;
};

struct Report {
    explicit Report(const MIME::ReadReport& report);

    std::string verdict;
    std::vector<Deviation> deviations;
    uint64_t omitted = 0;
};

}  // namespace Binding

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "record_id.h"

namespace Tool {

/// The messages that an index has records of. 16 bytes for each.
class DoneRecords {
public:
    /// Reads the records that an earlier run has written to a file, and cuts off a last line that it did not
    /// complete. A missing file has none. @throws Failure, when a line is no record, too.
    void ReadFrom(const std::string& path);

    bool IsEmpty() const { return ids_.empty(); }
    bool Has(const std::string& file, uint64_t offset) const;

private:
    std::deque<RecordId> ids_;  ///< sorted; it grows without being copied
};

}  // namespace Tool

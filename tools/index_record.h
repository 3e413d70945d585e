#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "index_queue.h"
#include "json_text.h"
#include "selection.h"
#include "sha256.h"

namespace Tool {

/// Makes the records of messages: one line of JSON for each, which docs/json.md describes. One thread.
class RecordMaker {
public:
    /// @param hashes  of the bodies of attachments are in the records.
    RecordMaker(const Selection& selection, bool hashes) : selection_(selection), hashes_(hashes) {}

    /// @return a line; nothing when the message was not selected. @throws std::bad_alloc
    IndexRecord Make(const IndexTask& task);

private:
    IndexRecord Describe(const IndexTask& task, const MIME::Mail& mail,
                         const MIME::ReadReport& report);
    void DescribeAttachments(JsonText& json, const MIME::Mail& mail);

    const Selection& selection_;
    const bool hashes_;
    std::unique_ptr<Sha256> hash_;  ///< made when it is needed first
};

/// The record of a message that cannot be read.
IndexRecord MakeFailureRecord(const IndexTask& task, const std::string& reason, uint64_t offset = 0,
                              const std::string& path = {});

}  // namespace Tool

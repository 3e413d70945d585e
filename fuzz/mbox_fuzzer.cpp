// Splits the input as an mbox file, and checks that every byte is in a message, in a From_ line or in the
// line ends between. Then takes the input as messages with kTextEnd between them, writes those into an mbox
// file with the quoting of mboxrd, and reads them back.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/byte_source.h"
#include "fuzz/check.h"
#include "kivgui/ascii.h"
#include "kivgui/utf8.h"
#include "mime/mail/mbox.h"

namespace {

using MIME::FromLine;
using MIME::MboxMessage;
using MIME::MboxReader;
using MIME::Fuzz::ByteSource;
using MIME::Fuzz::Check;

bool AreLineEnds(std::string_view text) {
    return text.find_first_not_of("\r\n") == std::string_view::npos;
}

size_t GetOffset(std::string_view part, std::string_view whole) {
    return static_cast<size_t>(part.data() - whole.data());
}

void CheckRanges(std::string_view file) {
    MboxReader reader(file);
    MboxMessage message;
    size_t done = file.size() - KivGuiBase::SkipByteOrderMark(file).size();
    size_t count = 0;
    for (; reader.Next(message); ++count) {
        const size_t line = GetOffset(message.fromLine, file);
        const size_t text = GetOffset(message.text, file);
        FromLine parsed;
        Check(line >= done && AreLineEnds(file.substr(done, line - done)), "line ends between");
        Check(count == 0 || FromLine::Parse(message.fromLine, parsed), "a From_ line with a date");
        const size_t lineEnd = line + message.fromLine.size();
        Check(text >= lineEnd && text - lineEnd <= 2 &&
                  AreLineEnds(file.substr(lineEnd, text - lineEnd)),
              "the text follows its line");
        done = text + message.text.size();
    }
    Check(count == 0 ? !MboxReader::IsMbox(file) : file.size() - done <= 4, "nothing is left out");
    Check(count == 0 || AreLineEnds(file.substr(done)), "line ends at the end");
}

/// Calls `take` for each line, its LF included.
template <class Take>
void ForEachLine(std::string_view text, Take take) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end == text.npos ? end : end + 1);
        text.remove_prefix(line.size());
        take(line);
    }
}

/// A length of its own may lead to another message's From_ line, which is then text.
bool HasLength(std::string_view message) {
    bool found = false;
    ForEachLine(message, [&](std::string_view line) {
        found = found || KivGuiBase::StartsWithCaseless(line, "content-length:");
    });
    return found;
}

std::string Quote(std::string_view message) {
    std::string quoted;
    ForEachLine(message, [&](std::string_view line) {
        const size_t marks = line.find_first_not_of('>');
        if (marks != line.npos && line.substr(marks).starts_with("From ")) quoted += '>';
        quoted += line;
    });
    return quoted;
}

void CheckRoundTrip(ByteSource source) {
    std::vector<std::string> messages;
    std::string file;
    while (!source.IsAtEnd()) {
        std::string message(source.TakeText());
        if (HasLength(message)) continue;
        if (!message.ends_with('\n')) message += '\n';
        file += "From a@b Thu Jan  1 00:00:01 1970\n" + Quote(message) + "\n";
        messages.push_back(std::move(message));
    }
    MboxReader reader(file);
    MboxMessage read;
    for (const std::string& message : messages) {
        Check(reader.Next(read), "every message is read");
        Check(MIME::UnquoteMbox(read.text) == message, "a message is read as it was written");
    }
    Check(!reader.Next(read), "no message is added");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CheckRanges({reinterpret_cast<const char*>(data), size});
    CheckRoundTrip(ByteSource(data, size));
    return 0;
}

// Runs libEtPan over a folder of messages, to compare with (harness.h). Its tasks are those of
// peer_harness.
//
//   p  parse every message; contents stay ranges of the text
//   b  the same; each leaf is decoded into memory
//   s  print the sha256 of all leaves, untimed

#include <libetpan/libetpan.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "harness.h"

namespace {

using Harness::Counts;
using Harness::Fail;
using Harness::Run;

struct Free {
    void operator()(mailmime* tree) const noexcept { mailmime_free(tree); }
};
using Tree = std::unique_ptr<mailmime, Free>;

Tree Parse(const std::string& message) {
    size_t at = 0;
    mailmime* tree = nullptr;
    if (mailmime_parse(message.data(), message.size(), &at, &tree) != MAILIMF_NO_ERROR) {
        Fail("cannot parse");
    }
    return Tree(tree);
}

/// Calls `use` with the data of every leaf, in document order.
void ForEachLeaf(mailmime* top, const std::function<void(const mailmime_data&)>& use) {
    std::vector<mailmime*> waiting{top};
    while (!waiting.empty()) {
        mailmime* const entity = waiting.back();
        waiting.pop_back();
        if (entity->mm_type == MAILMIME_SINGLE) {
            if (entity->mm_data.mm_single != nullptr) use(*entity->mm_data.mm_single);
        } else if (entity->mm_type == MAILMIME_MESSAGE) {
            mailmime* const inner = entity->mm_data.mm_message.mm_msg_mime;
            if (inner != nullptr) waiting.push_back(inner);
        } else {
            clist* const parts = entity->mm_data.mm_multipart.mm_mp_list;
            for (clistiter* at = clist_end(parts); at != nullptr; at = clist_previous(at)) {
                waiting.push_back(static_cast<mailmime*>(clist_content(at)));
            }
        }
    }
}

/// Calls `use` with every decoded leaf.
void ForEachBody(const std::string& message, const std::function<void(std::string_view)>& use) {
    const Tree tree = Parse(message);
    ForEachLeaf(tree.get(), [&](const mailmime_data& leaf) {
        const auto& text = leaf.dt_data.dt_text;
        size_t at = 0;
        char* decoded = nullptr;
        size_t size = 0;
        if (mailmime_part_parse(text.dt_data, text.dt_length, &at, leaf.dt_encoding, &decoded,
                                &size) != MAILIMF_NO_ERROR) {
            Fail("cannot decode");
        }
        use({decoded, size});
        mailmime_decoded_part_free(decoded);
    });
}

Counts ParseOnly(const std::string& message) {
    const Tree tree = Parse(message);
    Counts counts;
    ForEachLeaf(tree.get(),
                [&](const mailmime_data& leaf) { counts.Add(leaf.dt_data.dt_text.dt_length); });
    return counts;
}

Counts DecodeAll(const std::string& message) {
    Counts counts;
    ForEachBody(message, [&](std::string_view body) {
        counts.Add(body.size());
        Harness::Touch(body);
    });
    return counts;
}

}  // namespace

int main(int argc, char** argv) {
    Run run(argc, argv, "libetpan", "p b s");
    const std::string& task = run.GetTask();
    if (task == "p") {
        run.MeasureEach(ParseOnly);
    } else if (task == "b") {
        run.MeasureEach(DecodeAll);
    } else if (task == "s") {
        run.Digest([&](const auto& use) {
            for (const auto& message : run.GetMessages()) ForEachBody(message, use);
        });
    } else {
        run.Skip();
    }
    return 0;
}

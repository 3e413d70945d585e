// Runs mimetic over a folder of messages, to compare with (harness.h). Its tasks are those of peer_harness.
//
//   p  parse every message; bodies are copied into the tree
//   b  the same; each leaf is decoded into memory
//   s  print the sha256 of all leaves, untimed

#include <mimetic/mimetic.h>

#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "harness.h"

namespace {

using Harness::Counts;
using Harness::Run;

/// Calls `use` with every leaf, in document order.
void ForEachLeaf(const mimetic::MimeEntity& top,
                 const std::function<void(const mimetic::MimeEntity&)>& use) {
    std::vector<const mimetic::MimeEntity*> waiting{&top};
    while (!waiting.empty()) {
        const mimetic::MimeEntity* const entity = waiting.back();
        waiting.pop_back();
        const mimetic::MimeEntityList& parts = entity->body().parts();
        if (parts.empty()) use(*entity);
        waiting.insert(waiting.end(), parts.rbegin(), parts.rend());
    }
}

template <class Decoder>
std::string DecodeWith(Decoder decoder, const std::string& text) {
    std::string decoded;
    decoded.reserve(text.size());
    mimetic::decode(text.begin(), text.end(), decoder, std::back_inserter(decoded));
    return decoded;
}

std::string Decode(const mimetic::MimeEntity& leaf) {
    const mimetic::istring encoding = leaf.header().contentTransferEncoding().mechanism();
    if (encoding == "base64") return DecodeWith(mimetic::Base64::Decoder(), leaf.body());
    if (encoding == "quoted-printable") return DecodeWith(mimetic::QP::Decoder(), leaf.body());
    return leaf.body();
}

/// Calls `use` with every decoded leaf.
void ForEachBody(const std::string& message, const std::function<void(const std::string&)>& use) {
    const mimetic::MimeEntity top(message.begin(), message.end());
    ForEachLeaf(top, [&](const mimetic::MimeEntity& leaf) { use(Decode(leaf)); });
}

Counts ParseOnly(const std::string& message) {
    const mimetic::MimeEntity top(message.begin(), message.end());
    Counts counts;
    ForEachLeaf(top, [&](const mimetic::MimeEntity& leaf) { counts.Add(leaf.body().size()); });
    return counts;
}

Counts DecodeAll(const std::string& message) {
    Counts counts;
    ForEachBody(message, [&](const std::string& body) {
        counts.Add(body.size());
        Harness::Touch(body);
    });
    return counts;
}

}  // namespace

int main(int argc, char** argv) {
    Run run(argc, argv, "mimetic", "p b s");
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

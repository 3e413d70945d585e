// Runs GMime over a folder of messages, to compare with (harness.h). Its tasks are those of peer_harness.
//
//   p  parse every message; contents stay ranges of the text
//   b  the same; each leaf is decoded into memory
//   a  the same; each leaf is decoded into a new file
//   e  write trees whose leaves were decoded, one new file per message
//   h  decode 1,000,000 header fields
//   s  print the sha256 of all leaves, untimed

#include <fcntl.h>
#include <gmime/gmime.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "harness.h"

namespace {

using Harness::Counts;
using Harness::Fail;
using Harness::Run;

struct Unref {
    void operator()(void* object) const noexcept { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

/// A message over the caller's text, which is not copied.
class Tree {
public:
    explicit Tree(const std::string& text)
        : bytes_(g_byte_array_new()), stream_(g_mime_stream_mem_new_with_byte_array(nullptr)) {
        bytes_->data = reinterpret_cast<guint8*>(const_cast<char*>(text.data()));
        bytes_->len = static_cast<guint>(text.size());
        g_mime_stream_mem_set_byte_array(GMIME_STREAM_MEM(stream_.get()), bytes_);
        g_mime_stream_mem_set_owner(GMIME_STREAM_MEM(stream_.get()), FALSE);
        stream_->bound_end = -1;
        const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream_.get()));
        g_mime_parser_set_persist_stream(parser.get(), TRUE);
        message_.reset(g_mime_parser_construct_message(parser.get(), nullptr));
        if (message_ == nullptr) Fail("cannot parse");
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    ~Tree() {
        message_.reset();
        stream_.reset();
        bytes_->data = nullptr;
        bytes_->len = 0;
        g_byte_array_free(bytes_, FALSE);
    }

    GMimeMessage* GetMessage() const noexcept { return message_.get(); }

    /// Calls `use` with every leaf, in document order.
    void ForEachLeaf(const std::function<void(GMimePart*)>& use) const {
        std::vector<GMimeObject*> waiting{g_mime_message_get_mime_part(message_.get())};
        while (!waiting.empty()) {
            GMimeObject* const object = waiting.back();
            waiting.pop_back();
            if (GMIME_IS_PART(object)) use(GMIME_PART(object));
            if (!GMIME_IS_MULTIPART(object)) continue;
            GMimeMultipart* const multipart = GMIME_MULTIPART(object);
            for (int i = g_mime_multipart_get_count(multipart); i-- > 0;) {
                waiting.push_back(g_mime_multipart_get_part(multipart, i));
            }
        }
    }

private:
    GByteArray* bytes_;
    Owned<GMimeStream> stream_;
    Owned<GMimeMessage> message_;
};

void Decode(GMimePart* part, GMimeStream* target) {
    GMimeDataWrapper* const content = g_mime_part_get_content(part);
    if (content != nullptr) g_mime_data_wrapper_write_to_stream(content, target);
}

Owned<GMimeStream> MakeFile(const std::string& path) {
    const int file = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (file < 0) Fail("cannot make " + path);
    return Owned<GMimeStream>(g_mime_stream_fs_new(file));
}

/// Calls `use` with every decoded leaf. One buffer serves all leaves of a message.
void ForEachBody(const std::string& message, const std::function<void(std::string_view)>& use) {
    const Tree tree(message);
    const Owned<GMimeStream> stream(g_mime_stream_mem_new());
    GByteArray* const bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
    tree.ForEachLeaf([&](GMimePart* part) {
        g_mime_stream_reset(stream.get());
        g_byte_array_set_size(bytes, 0);
        Decode(part, stream.get());
        use({reinterpret_cast<const char*>(bytes->data), bytes->len});
    });
}

Counts ParseOnly(const std::string& message) {
    const Tree tree(message);
    Counts counts;
    tree.ForEachLeaf([&](GMimePart*) { counts.Add(0); });
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

void StoreAll(Run& run) {
    run.Measure([&] {
        size_t number = 0;
        for (const auto& message : run.GetMessages()) {
            Tree(message).ForEachLeaf(
                [&](GMimePart* part) { Decode(part, MakeFile(run.GetFileName(number++)).get()); });
        }
        return Counts();
    });
}

/// Replaces the content of a leaf by its decoded bytes.
void HoldDecoded(GMimePart* part) {
    const Owned<GMimeStream> bytes(g_mime_stream_mem_new());
    Decode(part, bytes.get());
    g_mime_stream_reset(bytes.get());
    const Owned<GMimeDataWrapper> content(
        g_mime_data_wrapper_new_with_stream(bytes.get(), GMIME_CONTENT_ENCODING_DEFAULT));
    g_mime_part_set_content(part, content.get());
}

void WriteTrees(Run& run) {
    std::vector<std::unique_ptr<Tree>> trees;
    for (const auto& message : run.GetMessages()) {
        trees.push_back(std::make_unique<Tree>(message));
        trees.back()->ForEachLeaf(HoldDecoded);
    }
    run.Measure([&] {
        size_t number = 0;
        for (const auto& tree : trees) {
            const Owned<GMimeStream> file = MakeFile(run.GetFileName(number++));
            const Owned<GMimeStream> buffer(
                g_mime_stream_buffer_new(file.get(), GMIME_STREAM_BUFFER_BLOCK_WRITE));
            g_mime_object_write_to_stream(GMIME_OBJECT(tree->GetMessage()), nullptr, buffer.get());
            if (g_mime_stream_flush(buffer.get()) != 0) Fail("write failed");
        }
        return Counts();
    });
}

void DecodeField(const Harness::HeaderField& field) {
    switch (field.kind) {
        case Harness::HeaderField::Kind::text: {
            char* const text = g_mime_utils_header_decode_text(nullptr, field.value.c_str());
            Harness::Touch(text);
            g_free(text);
            break;
        }
        case Harness::HeaderField::Kind::addresses: {
            InternetAddressList* const list =
                internet_address_list_parse(nullptr, field.value.c_str());
            if (list != nullptr) g_object_unref(list);
            break;
        }
        case Harness::HeaderField::Kind::date:
            GDateTime* const date = g_mime_utils_header_decode_date(field.value.c_str());
            if (date != nullptr) g_date_time_unref(date);
    }
}

}  // namespace

int main(int argc, char** argv) {
    g_mime_init();
    Run run(argc, argv, "gmime", "p b a e h s");
    const std::string& task = run.GetTask();
    if (task == "p") {
        run.MeasureEach(ParseOnly);
    } else if (task == "b") {
        run.MeasureEach(DecodeAll);
    } else if (task == "a") {
        StoreAll(run);
    } else if (task == "e") {
        WriteTrees(run);
    } else if (task == "h") {
        run.MeasureFields(DecodeField);
    } else if (task == "s") {
        run.Digest([&](const auto& use) {
            for (const auto& message : run.GetMessages()) ForEachBody(message, use);
        });
    } else {
        run.Skip();
    }
    return 0;
}

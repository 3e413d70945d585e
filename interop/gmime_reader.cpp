// interop_gmime: what GMime finds in messages. Takes their paths from standard input, one a line, and
// answers each with a line of JSON, of the form that compare.py compares.

#include <cstdio>
#include <iostream>
#include <string>

#include <gmime/gmime.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

std::string GetText(const char* text) {
    return text != nullptr ? text : "";
}

std::string ReadBody(GMimePart* part) {
    GMimeDataWrapper* content = g_mime_part_get_content(part);
    if (content == nullptr) return {};
    GMimeStream* stream = g_mime_stream_mem_new();
    g_mime_data_wrapper_write_to_stream(content, stream);
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
    std::string hex;
    for (guint i = 0; i < bytes->len; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", bytes->data[i]);
        hex += digits;
    }
    g_object_unref(stream);
    return hex;
}

json DescribeMailboxes(InternetAddressList* list) {
    json found = json::array();
    for (int i = 0; list != nullptr && i < internet_address_list_length(list); ++i) {
        InternetAddress* address = internet_address_list_get_address(list, i);
        if (!INTERNET_ADDRESS_IS_MAILBOX(address)) {
            found.push_back("no mailbox");
            continue;
        }
        auto* mailbox = INTERNET_ADDRESS_MAILBOX(address);
        found.push_back({GetText(internet_address_get_name(address)),
                         GetText(internet_address_mailbox_get_addr(mailbox))});
    }
    return found;
}

void Describe(GMimeObject* object, unsigned depth, json& entities) {
    GMimeContentType* type = g_mime_object_get_content_type(object);
    char* mediaType = g_mime_content_type_get_mime_type(type);
    json entity = {
        {"depth", depth},
        {"type", mediaType},
        {"charset", GetText(g_mime_content_type_get_parameter(type, "charset"))},
        {"fileName", GetText(g_mime_object_get_content_disposition_parameter(object, "filename"))},
        {"name", GetText(g_mime_content_type_get_parameter(type, "name"))}};
    g_free(mediaType);
    if (GMIME_IS_PART(object)) entity["body"] = ReadBody(GMIME_PART(object));
    entities.push_back(entity);
    if (GMIME_IS_MULTIPART(object)) {
        auto* multipart = GMIME_MULTIPART(object);
        for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
            Describe(g_mime_multipart_get_part(multipart, i), depth + 1, entities);
        }
    } else if (GMIME_IS_MESSAGE_PART(object)) {
        GMimeMessage* message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(object));
        Describe(g_mime_message_get_mime_part(message), depth + 1, entities);
    }
}

json Describe(GMimeMessage* message) {
    json entities = json::array();
    Describe(g_mime_message_get_mime_part(message), 0, entities);
    return {{"subject", GetText(g_mime_message_get_subject(message))},
            {"from", DescribeMailboxes(g_mime_message_get_from(message))},
            {"to", DescribeMailboxes(g_mime_message_get_to(message))},
            {"entities", entities}};
}

}  // namespace

static json Read(const char* path) {
    GMimeStream* stream = g_mime_stream_file_open(path, "rb", nullptr);
    if (stream == nullptr) return {{"error", "cannot be opened"}};
    GMimeParser* parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    json found = message != nullptr ? Describe(message) : json{{"error", "no message"}};
    if (message != nullptr) g_object_unref(message);
    g_object_unref(parser);
    g_object_unref(stream);
    return found;
}

int main() {
    g_mime_init();
    for (std::string path; std::getline(std::cin, path);) {
        std::cout << Read(path.c_str()).dump(-1, ' ', true, json::error_handler_t::replace)
                  << std::endl;
    }
    g_mime_shutdown();
}

// Prints one line of JSON for each message of a mail folder, for a search index.
#include <mime/mail.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

using Json = nlohmann::ordered_json;

int Fail(const std::string& why) {
    std::cerr << why << '\n';
    return 1;
}

/// One line. The name of a file may hold any bytes; all else is UTF-8.
std::string Describe(const MIME::FolderEntry& entry, const MIME::Mail& mail) {
    Json row = {{"file", entry.GetPath().generic_string()},
                {"offset", entry.GetOffset()},
                {"size", entry.GetSize()},
                {"id", mail.GetMessageId()},
                {"references", mail.GetReferences()},
                {"from", mail.GetFrom().GetStr()},
                {"to", mail.GetTo().GetStr()},
                {"subject", mail.GetSubject()},
                {"text", mail.GetText()}};
    if (const auto date = mail.GetDate()) row["date"] = date->time.time_since_epoch().count();
    for (const MIME::Entity& file : mail.GetAttachments()) {
        row["attachments"].push_back({{"part", file.GetPath()},
                                      {"name", file.GetFileName()},
                                      {"type", file.GetMediaType()},
                                      {"size", file.GetDecodedSize()}});
    }
    return row.dump(-1, ' ', false, Json::error_handler_t::replace);
}

int main(int argc, char** argv) {
    if (argc != 2) return Fail("usage: index_folder MAIL-FOLDER");
    auto messages = MIME::MailFolder::Open(argv[1]);
    if (!messages) return Fail(messages.error().GetText());
    int status = 0;
    for (const auto& entry : *messages) {
        const auto mail = entry ? MIME::Mail::Parse(*entry) : entry.error();
        if (!mail) {
            status = Fail(mail.error().GetText());
            continue;
        }
        std::cout << Describe(*entry, *mail) << '\n';
    }
    return status;
}

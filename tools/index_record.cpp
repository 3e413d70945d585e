#include "index_record.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string_view>

#include <mime/mail.h>

#include "json_text.h"
#include "message.h"
#include "record_id.h"
#include "severity.h"

// Each record is made in one pass over what a mail says; only the bodies of attachments are decoded, in
// pieces, for their sizes and hashes, and all bodies once for the report.

namespace Tool {

namespace {

using MIME::Mail;

constexpr size_t kMaxAttachments = 1000;

uint64_t GetLength(const IndexTask& task) {
    return task.entry ? task.entry->GetSize() : task.text.size();
}

uint64_t GetOffset(const IndexTask& task) {
    return task.entry ? task.entry->GetOffset() : 0;
}

/// The keys with which every record begins.
JsonText Begin(const IndexTask& task) {
    const uint64_t offset = GetOffset(task);
    JsonText json;
    json.Open('{').Key("schema").Number(kSchema);
    json.Key("id").Text(RecordId::Make(task.path, offset).GetText());
    json.Key("file").Text(task.path);
    json.Key("offset").Number(static_cast<int64_t>(offset));
    json.Key("length").Number(static_cast<int64_t>(GetLength(task)));
    json.Key("number").Number(static_cast<int64_t>(task.number) + 1);
    return json;
}

IndexRecord End(JsonText& json) {
    json.Close('}');
    return {json.Take() + "\n", false};
}

void DescribeAddresses(JsonText& json, const char* key, const MIME::AddressList& list) {
    json.Key(key).Open('[');
    for (const MIME::Address& address : list) {
        json.Open('{').Key("name").TextOrNull(address.GetName());
        json.Key("address").Text(address.GetAddress()).Close('}');
    }
    json.Close(']');
}

/// As in RFC 3339: "2026-05-20T16:12:45+02:00", with "-00:00" for an unknown zone.
std::string FormatDate(const MIME::Date& date) {
    namespace chrono = std::chrono;
    const chrono::sys_seconds local = date.time + date.offset;
    const auto day = chrono::floor<chrono::days>(local);
    const chrono::year_month_day ymd(day);
    const chrono::hh_mm_ss time(local - day);
    const auto offset = static_cast<int>(date.offset.count());
    const int distance = offset < 0 ? -offset : offset;
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d%c%02d:%02d",
                  static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                  static_cast<unsigned>(ymd.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()),
                  offset < 0 || !date.isZoneKnown ? '-' : '+', distance / 60, distance % 60);
    return text;
}

void DescribeDate(JsonText& json, const Mail& mail) {
    const std::optional<MIME::Date> date = mail.GetDate();
    json.Key("date");
    date ? json.Text(FormatDate(*date)) : json.Null();
    json.Key("time");
    date ? json.Number(date->time.time_since_epoch().count()) : json.Null();
}

void DescribeReport(JsonText& json, const MIME::ReadReport& report) {
    json.Key("worst");
    report.deviations.IsEmpty() ? json.Null() : json.Text(GetSeverityName(report.worst));
    std::vector<MIME::Deviation::keys> kinds;
    for (const auto& entry : report.deviations) {
        if (std::find(kinds.begin(), kinds.end(), entry.kind) == kinds.end()) {
            kinds.push_back(entry.kind);
        }
    }
    json.Key("deviations").Open('[');
    for (const auto kind : kinds) json.Text(std::string_view(MIME::Deviation::GetName(kind)));
    json.Close(']');
}

}  // namespace

IndexRecord MakeFailureRecord(const IndexTask& task, const std::string& reason, uint64_t offset,
                              const std::string& path) {
    JsonText json = Begin(task);
    json.Key("failure").Open('{').Key("text").Text(reason);
    json.Key("offset").Number(static_cast<int64_t>(GetOffset(task) + offset));
    json.Key("index").Text(MakeIndex(path)).Close('}');
    IndexRecord record = End(json);
    record.isFailure = true;
    return record;
}

void RecordMaker::DescribeAttachments(JsonText& json, const Mail& mail) {
    const std::vector<MIME::Entity> attachments = ListAttachments(mail);
    const size_t listed = std::min(attachments.size(), kMaxAttachments);
    if (hashes_ && hash_ == nullptr && listed != 0) hash_ = std::make_unique<Sha256>();
    json.Key("attachments").Open('[');
    for (size_t i = 0; i < listed; ++i) {
        const MIME::Entity& entity = attachments[i];
        json.Open('{').Key("index").Text(MakeIndex(entity.GetPath()));
        json.Key("type").Text(entity.GetMediaType());
        json.Key("fileName").TextOrNull(entity.GetFileName());
        uint64_t size = 0;
        if (hashes_) {
            const MIME::Result<void> decoded = entity.DecodeTo([&](std::string_view piece) {
                size += piece.size();
                hash_->Add(piece);
                return true;
            });
            if (!decoded) throw std::bad_alloc();  // nothing else stops it
        } else {
            size = entity.GetDecodedSize();
        }
        json.Key("size").Number(static_cast<int64_t>(size));
        if (hashes_) json.Key("sha256").Text(hash_->Finish());
        json.Close('}');
    }
    json.Close(']');
    json.Key("attachmentCount").Number(static_cast<int64_t>(attachments.size()));
}

IndexRecord RecordMaker::Describe(const IndexTask& task, const Mail& mail,
                                  const MIME::ReadReport& report) {
    JsonText json = Begin(task);
    json.Key("messageId").TextOrNull(mail.GetMessageId());
    DescribeDate(json, mail);
    json.Key("subject").TextOrNull(mail.GetSubject());
    DescribeAddresses(json, "from", mail.GetFrom());
    DescribeAddresses(json, "to", mail.GetTo());
    DescribeAddresses(json, "cc", mail.GetCc());
    DescribeAddresses(json, "bcc", mail.GetBcc());
    DescribeAttachments(json, mail);
    DescribeReport(json, report);
    json.Key("failure").Null();
    return End(json);
}

IndexRecord RecordMaker::Make(const IndexTask& task) {
    if (!task.failure.empty()) return MakeFailureRecord(task, task.failure);
    MIME::ReadReport report;
    MIME::MailOptions options;
    options.report = &report;
    const auto mail = task.entry ? Mail::Parse(*task.entry, options)
                                 : Mail::Parse(std::string_view(task.text), options);
    if (!mail) {
        const MIME::Error& error = mail.error();
        return MakeFailureRecord(task, GetReason(error), error.GetOffset(), error.GetEntityPath());
    }
    if (!selection_.IsEmpty() && !selection_.Takes(*mail)) return {};
    return Describe(task, *mail, report);
}

}  // namespace Tool

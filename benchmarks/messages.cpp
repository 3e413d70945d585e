#include "benchmarks/messages.h"

#include <map>
#include <stdexcept>

#include "benchmarks/bodies.h"
#include "kivgui/convert.h"
#include "mime/mime.h"

namespace MIME::Bench {

namespace {

constexpr size_t kLarge = 16 << 20;  // bytes of a large body

std::string EncodeBase64(const std::string& body) {
    return std::string(
        KivGuiBase::Binary2B64Str(body.data(), static_cast<unsigned>(body.size()), 76, "\r\n"));
}

std::string EncodeQp(const std::string& body) {
    return std::string(Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size())));
}

/// An entity with its header block; `text` is its body, encoded.
std::string MakeLeaf(const char* type, const char* encoding, const std::string& text) {
    return "Content-Type: " + std::string(type) + "\r\nContent-Transfer-Encoding: " + encoding +
           "\r\n\r\n" + text;
}

std::string MakeMultipart(const std::string& boundary, const std::vector<std::string>& children) {
    const std::string delimiter = "--" + boundary;
    std::string text = "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n";
    for (const std::string& child : children) {
        text.append(delimiter).append("\r\n").append(child).append("\r\n");
    }
    return text + delimiter + "--\r\n";
}

std::string MakeMessage(const std::vector<std::string>& children) {
    return "From: Ann Example <ann@example.org>\r\nTo: bob@example.net\r\n"
           "Subject: a message to measure\r\nDate: Mon, 1 Jan 2024 12:00:00 +0000\r\n"
           "MIME-Version: 1.0\r\n" +
           MakeMultipart("=_0123456789abcdef", children);
}

std::string MakeSmall(size_t number) {
    const std::string text = EncodeQp(MakeProse(1000 + 10 * (number % 50)));
    return MakeMessage({MakeLeaf("text/plain; charset=utf-8", "quoted-printable", text),
                        MakeLeaf("text/html; charset=utf-8", "quoted-printable", text + text)});
}

std::string MakeTypical(size_t number) {
    const std::string text = EncodeQp(MakeProse(2000));
    const std::string picture = EncodeBase64(MakeBinary(50'000 + 1000 * number));
    const std::string document = EncodeBase64(MakeBinary(150'000));
    return MakeMessage({MakeLeaf("text/plain; charset=utf-8", "quoted-printable", text),
                        MakeLeaf("image/png; name=a.png", "base64", picture),
                        MakeLeaf("application/pdf; name=b.pdf", "base64", document)});
}

std::string MakeManyParts() {
    const std::string leaf = MakeLeaf("text/plain", "7bit", "a short body\r\n");
    return MakeMessage(std::vector<std::string>(2000, leaf));
}

std::string MakeDeep() {
    std::string entity = MakeLeaf("text/plain", "7bit", "the innermost body\r\n");
    for (int level = 0; level < 200; ++level) {
        entity = MakeMultipart("=_level_" + std::to_string(level) + "_",
                               {MakeLeaf("text/plain", "7bit", "a body\r\n"), entity});
    }
    return MakeMessage({entity});
}

std::vector<std::string> Make(Mail mail) {
    std::vector<std::string> messages;
    switch (mail) {
        case Mail::small:
            for (size_t i = 0; i < 200; ++i) messages.push_back(MakeSmall(i));
            return messages;
        case Mail::typical:
            for (size_t i = 0; i < 20; ++i) messages.push_back(MakeTypical(i));
            return messages;
        case Mail::base64:
            return {MakeMessage(
                {MakeLeaf("application/zip", "base64", EncodeBase64(MakeBinary(kLarge)))})};
        case Mail::quotedPrintable:
            return {MakeTextMessage(MakeProse(kLarge))};
        case Mail::eightBit:
            return {MakeMessage({MakeLeaf("text/plain", "8bit", MakeProse(kLarge))})};
        case Mail::binary:
            return {MakeMessage({MakeLeaf("application/zip", "binary", MakeBinary(kLarge))})};
        case Mail::manyParts:
            return {MakeManyParts()};
        case Mail::deep:
            return {MakeDeep()};
    }
    return {};
}

}  // namespace

const std::vector<std::string>& GetMessages(Mail mail) {
    static std::map<Mail, std::vector<std::string>> made;
    std::vector<std::string>& messages = made[mail];
    if (messages.empty()) messages = Make(mail);
    return messages;
}

std::string MakeTextMessage(const std::string& body) {
    return MakeMessage({MakeLeaf("text/plain; charset=utf-8", "quoted-printable", EncodeQp(body))});
}

uint64_t CountBytes(const std::vector<std::string>& messages) {
    uint64_t bytes = 0;
    for (const std::string& message : messages) bytes += message.size();
    return bytes;
}

void Read(Part& tree, const std::string& message, const ReadOptions& options) {
    AnsiStr error;
    if (!tree.Read(message.data(), message.size(), error, options))
        throw std::runtime_error(error.GetStr());
}

}  // namespace MIME::Bench

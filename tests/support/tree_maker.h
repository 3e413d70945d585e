#pragma once

#include <iterator>
#include <string>
#include <vector>

#include "mime/mime.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME::Test {

/// Makes trees of any shape that can be written and read back: for the exact rules with every
/// transfer encoding and with bodies in memory and in files, for the mail rules with carried messages
/// and with fields that need encoding. The bodies of the leaves are kept beside the tree.
class TreeMaker {
public:
    TreeMaker(uint64_t seed, Rules rules, const TempFolder& folder)
        : random_(seed), isMail_(rules == Rules::mail), folder_(folder) {}

    void MakeMultipart(Part& part, unsigned depth) {
        SetType(part, Type::multipart, SubType::mixed);
        part.info.transferEncoding = TransferEncoding::binary;
        for (size_t count = 1 + random_.Below(3); count > 0; --count) {
            Part* child = new Part;
            part.AddPart(child);
            MakeChild(*child, depth);
        }
        SetParameter(part, "Content-Type", "boundary", part.info.boundary);
        SetFields(part);
    }

    /// The bodies of the leaves in document order, as reading gives them back.
    const std::vector<std::string>& GetBodies() const { return bodies_; }

private:
    void MakeChild(Part& part, unsigned depth) {
        const size_t kind = depth == 0 ? 3 : random_.Below(isMail_ ? 6 : 4);
        if (kind == 0) {
            MakeMultipart(part, depth - 1);
        } else if (kind == 4) {
            SetType(part, Type::message, SubType::rfc822);
            part.info.transferEncoding = TransferEncoding::binary;
            part.info.isMessage = true;
            part.parts.Add(new Part);  // not AddPart: a message has no boundary
            MakeMultipart(*part.parts[0], depth - 1);
        } else {
            MakeLeaf(part);
        }
    }

    void MakeLeaf(Part& part) {
        constexpr TransferEncoding::keys kEncodings[] = {
            TransferEncoding::base64, TransferEncoding::quoted_printable, TransferEncoding::bit8,
            TransferEncoding::bit7, TransferEncoding::binary};
        SetType(part, Type::text, SubType::plain);
        const auto encoding = kEncodings[random_.Below(std::size(kEncodings))];
        part.info.transferEncoding = encoding;
        Set(part, "Content-Transfer-Encoding", TransferEncoding::GetStr(encoding));
        SetFields(part);
        std::string body = MakeBody();
        PutBody(part.data, body, encoding);
        // By the exact rules reading ends the last line of a quoted-printable body; a file may have
        // that from there.
        const bool hasEnd = body.empty() || body.ends_with("\r\n");
        if (!isMail_ && encoding == TransferEncoding::quoted_printable &&
            (part.data.file.IsEmpty() || !hasEnd)) {
            body += "\r\n";
        }
        bodies_.push_back(body);
    }

    std::string MakeBody() {
        const size_t size = random_.Below(4) == 0 ? random_.Below(200'000) : random_.Below(300);
        switch (random_.Below(3)) {
            case 0:
                return random_.Bytes(size);
            case 1:
                return random_.Text(size, "--=_b \r\n.\t");
            default:
                return random_.Text(size, "abcdefghijklmnopqrstuvwxyz \r\n");
        }
    }

    void PutBody(Data& data, const std::string& body, TransferEncoding::keys encoding) {
        const size_t place = isMail_ ? 2 : random_.Below(3);
        if (place == 0) {
            const std::string path = folder_.At("body" + std::to_string(bodies_.size()));
            WriteWholeFile(path, body);
            data.file = File(AnsiStr(path));
        } else if (place == 1 && encoding == TransferEncoding::base64) {
            const auto size = static_cast<unsigned>(body.size());
            data.content = KivGuiBase::Binary2B64Str(body.data(), size, 76, "\r\n");
            data.encoded = true;
        } else {
            data.content = AnsiStr(body);
        }
    }

    void SetFields(Part& part) {
        // Of a leaf Part::Serialize writes the Content- fields alone.
        if (!isMail_ || !part.parts.IsEmpty()) {
            for (const char* name : {"Subject", "X-1"}) {
                if (random_.Below(2) == 0) Set(part, name, MakeText());
            }
            if (isMail_) Set(part, "From", "\"Zo\xC3\xAB \\\"Q\\\"\" <zoe@example.net>");
        }
        if (random_.Below(2) == 0) Set(part, "Content-Description", MakeText());
        if (random_.Below(2) == 0) return;
        Set(part, "Content-Disposition", "attachment");
        SetParameter(part, "Content-Disposition", "filename", MakeText());
        SetParameter(part, "Content-Disposition", "size", "17");
    }

    /// What a field can hold: by the mail rules words with a space between, else anything without a
    /// CR, a NUL or ";".
    AnsiStr MakeText() {
        if (!isMail_) return AnsiStr(random_.Text(9, "abc \t\"\\\n\xC3=?:,<>()"));
        constexpr std::string_view kWords[] = {
            "a",   "Gr\xC3\xBC\xC3\x9F",     "\xE6\x97\xA5",  ";x=1", "\"q\"", "b\\c",
            "(d)", "longer-than-most-words", "=?utf-8?Q?a?=", "50%"};
        std::string text = "\xC3\xA9";  // so that all of it is encoded
        for (size_t count = random_.Below(20); count > 0; --count) {
            text.append(" ").append(kWords[random_.Below(std::size(kWords))]);
        }
        return AnsiStr(text);
    }

    static void SetType(Part& part, Type::keys type, SubType::keys subType) {
        part.info.contentType = {AnsiStr(), type, subType};
        Set(part, "Content-Type", part.info.contentType.GetStr());
    }
    static void Set(Part& part, const char* name, const AnsiStr& value) {
        part.headers.FindOrInsert(name)->value.value = value;
    }
    static void SetParameter(Part& part, const char* field, const char* name,
                             const AnsiStr& value) {
        part.headers.FindOrInsert(field)->value.parameters.FindOrInsert(name)->value.value = value;
    }

    Random random_;
    const bool isMail_;
    const TempFolder& folder_;
    std::vector<std::string> bodies_;
};

}  // namespace MIME::Test

#include "transfer_encoder.h"

#include <new>
#include <string>

#include "files.h"
#include "kivgui/convert.h"
#include "kivgui/utf8.h"

// An encoder takes a body in pieces of any size (Add, then Finish once) and passes its encoded text
// on in pieces. It keeps back what it cannot encode before it knows the next byte: the end of a
// base64 line, or a line of quoted-printable text, of which at most 64 KiB. Quoted-printable is made
// line by line because the library's encoder knows CR LF alone.

namespace Tool {

using MIME::AnsiStr;

namespace {

/// Base64 in lines of 76 characters, with line ends between them.
class Base64Encoder {
public:
    Base64Encoder(std::string_view lineEnd, const TakePiece& take)
        : lineEnd_(lineEnd), take_(take) {}

    void Add(std::string_view piece) {
        waiting_ += piece;
        const size_t whole = waiting_.size() / kLineBytes * kLineBytes;
        Encode(std::string_view(waiting_).substr(0, whole));
        waiting_.erase(0, whole);
    }
    void Finish() { Encode(waiting_); }

private:
    static constexpr unsigned kLine = 76;
    static constexpr size_t kLineBytes = kLine / 4 * 3;

    void Encode(std::string_view bytes) {
        if (bytes.empty()) return;
        if (hasLines_) take_(lineEnd_);
        hasLines_ = true;
        const AnsiStr text = KivGuiBase::Binary2B64Str(
            bytes.data(), static_cast<unsigned>(bytes.size()), kLine, lineEnd_.c_str());
        if (text.IsEmpty()) throw std::bad_alloc();
        take_(text);
    }

    std::string lineEnd_;
    const TakePiece& take_;
    std::string waiting_;
    bool hasLines_ = false;
};

/// Quoted-printable. Lines of the body remain lines, whichever line end the message has.
class QuotedPrintableEncoder {
public:
    QuotedPrintableEncoder(std::string_view lineEnd, const TakePiece& take)
        : lineEnd_(lineEnd), take_(take) {}

    void Add(std::string_view piece) {
        waiting_ += piece;
        std::string_view rest = waiting_;
        for (size_t end; (end = rest.find(lineEnd_)) != std::string_view::npos;) {
            Encode(rest.substr(0, end));
            take_(lineEnd_);
            rest.remove_prefix(end + lineEnd_.size());
        }
        while (rest.size() > kLongest) {
            // At least one byte is kept: a CR may belong to a line end.
            Encode(rest.substr(0, kLongest));
            TakeSoftBreak();
            rest.remove_prefix(kLongest);
        }
        waiting_ = std::string(rest);
    }
    void Finish() { Encode(waiting_); }

private:
    static constexpr size_t kLongest = 0x10000;  ///< bytes of a line that are encoded at once

    void TakeSoftBreak() {
        take_("=");
        take_(lineEnd_);
    }

    /// Encodes a line, or a part of one.
    void Encode(std::string_view bytes) {
        while (bytes.starts_with(KivGuiBase::kByteOrderMark)) {  // the library drops it
            take_("=EF=BB=BF");
            TakeSoftBreak();
            bytes.remove_prefix(KivGuiBase::kByteOrderMark.size());
        }
        if (bytes.empty()) return;
        const AnsiStr encoded =
            MIME::Encoding::QPEncode(bytes.data(), static_cast<unsigned>(bytes.size()));
        if (encoded.IsEmpty()) throw std::bad_alloc();
        std::string_view rest = encoded;
        for (size_t end; (end = rest.find("\r\n")) != std::string_view::npos;) {
            TakeLine(rest.substr(0, end));
            take_(lineEnd_);
            rest.remove_prefix(end + 2);
        }
        TakeLine(rest);
    }

    void TakeLine(std::string_view line) {
        constexpr size_t kMaxLine = 76;
        if (line.starts_with("--")) {
            take_("=2D");
            line.remove_prefix(1);
            if (line.size() + 3 > kMaxLine) TakeSoftBreak();
        }
        take_(line);
    }

    std::string lineEnd_;
    const TakePiece& take_;
    std::string waiting_;
};

/// Passes a body on as it is.
class IdentityEncoder {
public:
    IdentityEncoder(std::string_view /*lineEnd*/, const TakePiece& take) : take_(take) {}

    void Add(std::string_view piece) { take_(piece); }
    void Finish() {}

private:
    const TakePiece& take_;
};

template <class Encoder>
void Encode(const MIME::Part& part, Encoder encoder) {
    ReadPieces(part.data.file, [&](std::string_view piece) { encoder.Add(piece); });
    encoder.Finish();
}

}  // namespace

void EncodeBody(const MIME::Part& part, std::string_view lineEnd, const TakePiece& take) {
    switch (part.info.transferEncoding) {
#define MIME_TRANSFER_ENCODING(key, text, isIdentity, codec) \
    case MIME::TransferEncoding::key:                        \
        return Encode(part, codec##Encoder(lineEnd, take));
#include <mime/encoding/transfer_encodings.inc>
    }
}

}  // namespace Tool

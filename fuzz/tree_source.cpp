#include "fuzz/tree_source.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>

#include "fuzz/check.h"
#include "kivgui/utf8.h"

namespace MIME::Fuzz {

namespace {

constexpr unsigned kMaxEntities = 300;
constexpr size_t kMaxBody = 0x40000;
constexpr size_t kMaxBodies = 0x80000;

ContentType MakeType(Type::keys type, SubType::keys subType) {
    return {AnsiStr(), type, subType};
}

template <class Items>
const auto& Choose(const Items& items, unsigned number) {
    return items[number % std::size(items)];
}

/// The characters of a text that are in `kept`, in lower case, at most `limit`.
std::string Filter(std::string_view text, std::string_view kept, size_t limit) {
    std::string filtered;
    for (const char c : text) {
        if (kept.find(c) != std::string_view::npos && filtered.size() < limit) filtered += c;
    }
    return filtered;
}

constexpr std::string_view kTokenBytes = "abcdefghijklmnopqrstuvwxyz0123456789.+-_";

HeaderValue& GetField(Part& part, const AnsiStr& name) {
    return part.headers.FindOrInsert(name)->value;
}

bool IsAsciiText(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

}  // namespace

// ---------------------------------------------------------------------------------- commands --

TreeSource::TreeSource(ByteSource source, Writer writer, const Test::TempFolder& folder)
    : source_(source), writer_(writer), folder_(folder) {
    while (!source_.IsAtEnd()) TakeCommand(source_.Take());
    if (current_ == nullptr) Begin(Kind::multipart);
    std::vector<std::string> boundaries;
    Finish(top_, boundaries);
}

void TreeSource::TakeCommand(char command) {
    constexpr const char* kFields[] = {"Subject", "Comments", "X-1", "Content-Description",
                                       "Content-ID"};
    switch (command) {
        case 'm':
            return Begin(Kind::multipart);
        case 'g':
            return Begin(Kind::message);
        case 'l':
            return Begin(Kind::leaf);
        default:
            break;
    }
    if (current_ == nullptr) return;
    switch (command) {
        case 'u':
            return End();
        case 'f': {
            const char* name = Choose(kFields, source_.TakeNumber());
            return SetField(name, source_.TakeText());
        }
        case 'x':
            return SetOtherField();
        case 'a':
            return AddMailbox();
        case 'p':
            return SetParameter();
        case 't':
            return SetType(source_.TakeText());
        case 'e':
            return SetEncoding(source_.TakeNumber());
        case 'b':
            notes_[current_].body += source_.TakeText();
            return;
        case 'r':
            return DoubleBody(source_.TakeNumber());
        case 's':
            notes_[current_].place = static_cast<Place>(source_.TakeNumber() % 3);
            return;
        case 'y':
            return SetBoundary(source_.TakeText());
        case 'c':
            current_->info.charset = AnsiStr(Filter(source_.TakeText(), kTokenBytes, 40));
            return;
        case 'v':
            current_->data.topLevel = true;
            return;
        default:
            return;
    }
}

/// Begins an entity: the top first, then children of the innermost open one.
void TreeSource::Begin(Kind kind) {
    if (writer_ == Writer::write && kind == Kind::message) kind = Kind::leaf;
    if (current_ == nullptr) {
        if (writer_ == Writer::write) kind = Kind::multipart;
        current_ = &top_;
    } else {
        if (open_.empty() || notes_.size() >= kMaxEntities) return;
        Part& parent = *open_.back();
        if (parent.info.isMessage && !parent.parts.IsEmpty()) return;
        current_ = new Part;
        BeginIn(parent, current_);
    }
    notes_[current_].kind = kind;
    Info& info = current_->info;
    info.transferEncoding = TransferEncoding::binary;
    info.contentType = MakeType(Type::text, SubType::plain);
    if (kind == Kind::leaf) return;
    open_.push_back(current_);
    info.isMessage = kind == Kind::message;
    info.contentType = info.isMessage ? MakeType(Type::message, SubType::rfc822)
                                      : MakeType(Type::multipart, SubType::mixed);
    if (!info.isMessage) info.boundary = "b";
}

void TreeSource::BeginIn(Part& parent, Part* child) {
    if (parent.info.isMessage) {
        parent.parts.Add(child);  // not AddPart: a message has no boundary
    } else {
        parent.AddPart(child);
    }
}

void TreeSource::End() {
    if (!open_.empty()) open_.pop_back();
    if (!open_.empty()) current_ = open_.back();
}

/// What a host may store in a field: Part::Write takes no line end and no NUL, and a value ends at ";".
std::string TreeSource::Clean(std::string_view value) const {
    if (writer_ == Writer::serialize) return std::string(value);
    std::string clean;
    for (const char c : value.substr(0, value.find('\0'))) {
        const bool endsLine = c == '\n' && clean.ends_with('\r');
        if (!endsLine) clean += c;
    }
    return clean;
}

void TreeSource::SetField(const AnsiStr& name, std::string_view value) {
    std::string clean = Clean(value);
    if (writer_ == Writer::write) std::erase(clean, ';');
    // What was between the characters is gone, so look again.
    GetField(*current_, name).value = AnsiStr(Clean(clean));
}

void TreeSource::SetOtherField() {
    std::string_view text = source_.TakeText();
    const std::string name = Filter(text, kTokenBytes, 60);
    SetField(AnsiStr((text.starts_with('C') ? "Content-X-" : "X-") + name), source_.TakeText());
}

void TreeSource::AddMailbox() {
    constexpr const char* kFields[] = {"From", "To", "Reply-To", "Sender", "Cc", "Bcc"};
    constexpr std::string_view kAddressBytes =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.!#$%&'*+/?^_`{|}~-@";
    const AnsiStr field = Choose(kFields, source_.TakeNumber());
    const AnsiStr name(Clean(source_.TakeText()));
    const std::string address = Filter(source_.TakeText(), kAddressBytes, 200) + "@x";
    AnsiStr value = GetField(*current_, field).value;
    if (!value.IsEmpty()) value += ", ";
    value += Encoding::Quote(name) + AnsiStr(" <") + AnsiStr(address) + AnsiStr(">");
    SetField(field, value);
}

void TreeSource::SetParameter() {
    constexpr const char* kNames[] = {"name", "filename", "charset",
                                      "x",    "size",     "a-rather-long-name"};
    const bool isOfType = source_.TakeNumber() % 2 == 0;
    HeaderValue& field = GetField(*current_, isOfType ? "Content-Type" : "Content-Disposition");
    if (!isOfType && field.value.IsEmpty()) field.value = "attachment";
    const AnsiStr name = Choose(kNames, source_.TakeNumber());
    std::string value = Clean(source_.TakeText());
    // Part::Serialize makes folds of line ends that it does not encode.
    if (writer_ == Writer::serialize && IsAsciiText(value.c_str())) {
        for (char& c : value) c = c == '\r' || c == '\n' ? ' ' : c;
    }
    field.parameters.FindOrInsert(name)->value.value = AnsiStr(value);
}

void TreeSource::SetType(std::string_view text) {
    const ContentType leafTypes[] = {MakeType(Type::text, SubType::html),
                                     MakeType(Type::image, SubType::png),
                                     MakeType(Type::application, SubType::octet_stream)};
    constexpr SubType::keys kMultiparts[] = {SubType::alternative, SubType::related,
                                             SubType::digest};
    ContentType& type = current_->info.contentType;
    const Kind kind = notes_[current_].kind;
    const bool isKnown = text.size() == 1;
    const unsigned number = isKnown ? static_cast<unsigned char>(text[0] - '0') : 0;
    std::string subType = Filter(text.substr(text.find('/') + 1), kTokenBytes, 60);
    if (kind == Kind::multipart) {
        type = MakeType(Type::multipart, Choose(kMultiparts, number));
        // Part::Write puts what is no atom in quotes, which stay when parameters follow.
        if (writer_ == Writer::write) std::erase(subType, '.');
        if (!isKnown) type.str = AnsiStr("multipart/x" + subType);
    } else if (kind == Kind::leaf) {
        type = Choose(leafTypes, number);
        if (isKnown) return;
        // Not a multipart and no message: those need more than a name.
        const std::string first = "x" + Filter(text.substr(0, text.find('/')), kTokenBytes, 20);
        type = ContentType{AnsiStr(first + "/x" + subType)};
    }
}

void TreeSource::SetEncoding(unsigned number) {
    constexpr TransferEncoding::keys kEncodings[] = {
        TransferEncoding::bit7, TransferEncoding::bit8, TransferEncoding::binary,
        TransferEncoding::base64, TransferEncoding::quoted_printable};
    if (notes_[current_].kind != Kind::leaf) return;
    current_->info.transferEncoding = Choose(kEncodings, number);
}

/// By the mail rules a boundary may have no blank at its end, and none that ends in "--" is told from
/// the closing line of another.
void TreeSource::SetBoundary(std::string_view text) {
    if (notes_[current_].kind != Kind::multipart) return;
    std::string boundary;
    if (writer_ == Writer::write) {
        constexpr size_t kLongest = 1000;
        for (const char c : text.substr(0, kLongest)) {
            if (c != '\0' && c != '\r' && c != '\n') boundary += c;
        }
        if (boundary.empty()) boundary = "b";
    } else {
        constexpr std::string_view kBytes =
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789'()+_,-./:? ";
        boundary = Filter(text, kBytes, 120) + "z";
    }
    current_->info.boundary = AnsiStr(boundary);
}

void TreeSource::DoubleBody(unsigned times) {
    std::string& body = notes_[current_].body;
    for (times %= 18; times > 0; --times) {
        if (body.size() > kMaxBody / 2 || doubled_ + body.size() > kMaxBodies) return;
        doubled_ += body.size();
        body += std::string(body);
    }
}

// ------------------------------------------------------------------------------ finished tree --

namespace {

/// Text that the mail rules take for a boundary line of an open entity (docs/mail.md).
bool IsMailDelimiter(std::string_view line,
                     const std::unordered_set<std::string_view>& boundaries) {
    const auto trim = [](std::string_view text) {
        const size_t last = text.find_last_not_of(" \t");
        return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
    };
    if (!line.starts_with("--")) return false;
    if (line.ends_with('\r')) line.remove_suffix(1);
    line = trim(line.substr(2));
    if (boundaries.count(line) != 0) return true;
    return line.ends_with("--") && boundaries.count(trim(line.substr(0, line.size() - 2))) != 0;
}

/// The body as it is written, apart from base64, which has no dashes.
AnsiStr GetWrittenBody(const Part& leaf, std::string_view body) {
    if (leaf.data.encoded) return leaf.data.content;
    if (leaf.info.transferEncoding != TransferEncoding::quoted_printable) return AnsiStr(body);
    return Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size()));
}

}  // namespace

bool TreeSource::HasDelimiter(const Part& leaf, const std::vector<std::string>& boundaries) const {
    if (boundaries.empty()) return false;
    const AnsiStr encoded = GetWrittenBody(leaf, notes_.at(&leaf).body);
    const std::string innermost = "--" + boundaries.back();
    const bool isAnywhere =
        writer_ == Writer::write && TransferEncoding::IsIdentity(leaf.info.transferEncoding);
    const std::unordered_set<std::string_view> open(boundaries.begin(), boundaries.end());
    std::string_view text = encoded;
    if (isAnywhere) return text.find(innermost) != std::string_view::npos;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (writer_ == Writer::write ? line.starts_with(innermost) : IsMailDelimiter(line, open)) {
            return true;
        }
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return false;
}

/// Puts bodies in their places, and sets the fields that Part::Write expects.
void TreeSource::Finish(Part& part, std::vector<std::string>& boundaries) {
    if (notes_[&part].kind == Kind::leaf) return FinishLeaf(part, boundaries);
    if (part.parts.IsEmpty()) {
        Part* leaf = new Part;
        leaf->info.contentType = MakeType(Type::text, SubType::plain);
        leaf->info.transferEncoding = TransferEncoding::binary;
        notes_[leaf];
        BeginIn(part, leaf);
    }
    if (writer_ == Writer::write) {
        HeaderValue& type = GetField(part, "Content-Type");
        type.value = part.info.contentType.GetStr();
        type.parameters.FindOrInsert("boundary")->value.value = part.info.boundary;
    }
    if (!part.info.isMessage) boundaries.emplace_back(part.info.boundary);
    for (Part* child : part.parts) Finish(*child, boundaries);
    if (!part.info.isMessage) boundaries.pop_back();
}

void TreeSource::FinishLeaf(Part& leaf, const std::vector<std::string>& boundaries) {
    const AnsiStr encoding = TransferEncoding::GetStr(leaf.info.transferEncoding);
    GetField(leaf, "Content-Transfer-Encoding").value = encoding;
    if (writer_ == Writer::write) {
        GetField(leaf, "Content-Type").value = leaf.info.contentType.GetStr();
    }
    PutBody(leaf);
    if (HasDelimiter(leaf, boundaries)) {
        std::string& body = notes_[&leaf].body;
        std::replace(body.begin(), body.end(), '-', '_');
        PutBody(leaf);
    }
    // What comes back is not quite what was put in (docs/writing.md).
    std::string& body = notes_[&leaf].body;
    if (leaf.info.transferEncoding != TransferEncoding::quoted_printable) return;
    body = KivGuiBase::SkipByteOrderMark(body);
    const bool sharesLineEnd =
        !leaf.data.file.IsEmpty() && (body.empty() || body.ends_with("\r\n"));
    if (writer_ == Writer::write && !sharesLineEnd) body += "\r\n";
}

void TreeSource::PutBody(Part& leaf) {
    const Notes& notes = notes_[&leaf];
    leaf.data.content = AnsiStr();
    leaf.data.file = File();
    if (notes.place == Place::content || (notes.place == Place::file && writer_ != Writer::write)) {
        leaf.data.content = AnsiStr(notes.body);
        return;
    }
    const File file(AnsiStr(folder_.At("body-" + std::to_string(++files_))));
    Test::WriteWholeFile(file.GetPath(), notes.body);
    if (notes.place == Place::file) {
        leaf.data.file = file;
        return;
    }
    MemoryFile view;
    Check(view.Open(file, MemoryFile::Mode::read), "a file can be read");
    const ContentType type = leaf.info.contentType;
    Check(leaf.SetContent(view, type), "content can be attached");
    file.Remove(false);
}

}  // namespace MIME::Fuzz

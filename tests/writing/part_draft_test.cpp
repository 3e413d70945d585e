#include "mime/writing/part_draft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivsec/signing.h"
#include "support/bytes.h"
#include "support/messages.h"
#include "support/temp_folder.h"
#include "support/tree_maker.h"

namespace MIME {
namespace {

using KivGuiBase::EqualsCaseless;
using Test::Escape;
using Test::FindMessages;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::TreeMaker;
using Test::WriteWholeFile;
using namespace std::string_literals;

std::string ToText(const AnsiStr& text) {
    return std::string(std::string_view(text));
}

bool Read(Part& part, std::string_view text, Bodies bodies = Bodies::memory) {
    ReadOptions options = ReadOptions::Mail();
    options.bodies = bodies;
    options.memoryLimit = AnsiStr::kMaxLength;
    AnsiStr error;
    return part.Read(text.data(), text.size(), error, options);
}

std::string MakeMailLines(std::string text) {
    if (text.find('\r') != std::string::npos) return text;
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
        text.insert(at, "\r");
    }
    return text;
}

/// What says how bodies are written, and what may be added.
bool IsMade(std::string_view name) {
    constexpr std::string_view kNames[] = {"content-transfer-encoding", "content-length",
                                           "content-type", "mime-version"};
    return std::ranges::find(kNames, name) != std::end(kNames);
}

/// What must come back: types, fields, names and bytes. The line ends of texts may change, and what cannot be
/// sent so has a stand-in.
std::string Show(const Part& part, const std::string& indent = "\n") {
    std::string type = KivGuiBase::MakeLowerAscii(ToText(part.info.contentType.GetStr()));
    const size_t slash = type.find('/');
    if (slash == 0 || slash + 1 >= type.size() || slash == std::string::npos) type = "text/plain";
    std::string shown = indent + type;
    bool isFile = type.starts_with("image/") || type.starts_with("application/");
    for (const HeaderMap::Node& field : part.headers) {
        const std::string name = KivGuiBase::MakeLowerAscii(ToText(field.key));
        const bool isShown = !IsMade(name) && !field.value.value.IsEmpty();
        if (isShown) shown += indent + name + ": " + Escape(ToText(field.value.value));
        for (const ParameterMap::Node& parameter : field.value.parameters) {
            const std::string key = KivGuiBase::MakeLowerAscii(ToText(parameter.key));
            if (key == "charset" || key == "boundary" || parameter.value.value.IsEmpty()) continue;
            shown += ";" + key + "=" + Escape(ToText(parameter.value.value));
            isFile = isFile || key == "filename";
        }
        isFile = isFile || EqualsCaseless(ToText(field.value.value), "attachment");
    }
    const std::string bytes = ToText(part.data.content);
    const std::string body = isFile ? bytes : MakeMailLines(bytes);
    shown += Escape(body);
    for (const Part* child : part.parts) shown += Show(*child, indent + "  ");
    const bool isEmpty = type.starts_with("multipart/") && part.parts.IsEmpty() && body.empty();
    return isEmpty ? shown + indent + "  text/plain" : shown;
}

/// All other fields as they are in the text.
std::string ShowRaw(const Part& part) {
    std::string shown;
    for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
        const auto [name, value] = part.fields[i];
        if (name.empty() || IsMade(KivGuiBase::MakeLowerAscii(name))) continue;
        shown.append(name).append(":" + MakeMailLines(std::string(value)) + "\n");
    }
    for (const Part* child : part.parts) shown += ShowRaw(*child);
    return shown.empty() ? shown : "--\n" + shown;
}

TEST(PartDraftTest, MessagesComeBack) {
    const WriteOptions options{.isCompleted = false, .seed = 1};
    for (const auto& path : FindMessages()) {
        Part part, again;
        if (!Read(part, ReadWholeFile(path.string()))) continue;
        const Result<std::string> saved = part.SaveToString(options);
        if (!saved) {  // a message/partial, which has to be 7bit
            EXPECT_TRUE(saved.error().GetText().starts_with("has a NUL")) << path;
            continue;
        }
        ASSERT_TRUE(Read(again, *saved)) << path;
        if (path.filename() == "message_encoded_too_often.eml") continue;  // it is read deeper now
        EXPECT_EQ(Show(again), Show(part)) << path;
        EXPECT_EQ(ShowRaw(again), ShowRaw(part)) << path;
        EXPECT_EQ(*again.SaveToString(options), *saved) << path;
    }
}

TEST(PartDraftTest, TreesComeBack) {
    const TempFolder folder;
    for (uint64_t seed = 0; seed < 100; ++seed) {
        TreeMaker maker(seed, Rules::mail, folder);
        Part tree, again;
        maker.MakeMultipart(tree, 4);
        const Result<std::string> saved = tree.SaveToString({.isCompleted = false});
        ASSERT_TRUE(saved) << saved.error().GetText();
        ASSERT_TRUE(Read(again, *saved));
        ASSERT_EQ(Show(again), Show(tree)) << seed;
    }
}

void Set(Part& part, const char* field, std::string_view value) {
    part.headers.FindOrInsert(field)->value.value = value;
}

TEST(PartDraftTest, WhatCannotBeWrittenIsNamed) {
    struct Case {
        std::function<void(Part& top, Part& child)> change;
        ErrorCode want;
        std::string_view wantText;
    };
    const Case cases[] = {
        {[](Part& top, Part&) { Set(top, "To", "ann@x.org, Bob <bob@x.org, carl@x.org"); },
         ErrorCode::badAddress, "To: "},
        {[](Part&, Part& child) { child.data.file = File("/missing/body"); }, ErrorCode::cannotOpen,
         "/missing/body: "},
        {[](Part& top, Part&) { top.data.content = "lost"; }, ErrorCode::cannotEncode,
         "has parts, and a body too"},
        {[](Part& top, Part&) { top.info.isMessage = true, top.AddPart(new Part); },
         ErrorCode::cannotEncode, "is to carry one message"},
        {[](Part&, Part& child) { child.rawText = "A: b\r\n\r\nc\nd"; }, ErrorCode::cannotEncode,
         "part 1: has a CR or LF"},
        {[](Part&, Part& child) { child.data.encoded = true, child.data.content = "\xFF"; },
         ErrorCode::cannotEncode, "part 1: is said to be encoded"},
        {[](Part&, Part& child) { Set(child, "X-A", "b\r\nTo: c@d"); }, ErrorCode::badField,
         "part 1: X-A: "},
        {[](Part&, Part& child) {
             Set(child, "Content-Disposition", "inline");
             child.headers.Find("Content-Disposition")->value.parameters.FindOrInsert("a")->value =
                 {"b\r\nTo: c@d", true};
         },
         ErrorCode::badField, "part 1: Content-Disposition: \"a=b"},
        {[](Part&, Part& child) {
             Part* part = &child;
             for (int i = 0; i < 255; ++i, part = part->parts[0]) part->AddPart(new Part);
         },
         ErrorCode::tooDeep, ""},
    };
    const TempFolder folder;
    for (const Case& c : cases) {
        Part top;
        top.AddPart(new Part);
        c.change(top, *top.parts[0]);
        const Result<void> saved = top.Save(File(AnsiStr(folder.At("x.eml"))));
        EXPECT_EQ(saved.error().GetCode(), c.want) << c.wantText;
        EXPECT_TRUE(saved.error().GetText().starts_with(c.wantText)) << saved.error().GetText();
        EXPECT_TRUE(folder.List().empty());
    }
}

TEST(PartDraftTest, TreesAreCompleted) {
    Part top;
    Set(top, "From", "a@b.org");
    Set(top, "Subject", "=?utf-8?Q?=C3=BC?=");
    top.info.boundary = "b";
    for (int i = 0; i < 4; ++i) top.AddPart(new Part);
    top.parts[0]->data.content = "\xC3\xBC\n--b\n";
    top.parts[0]
        ->headers.FindOrInsert("Content-Disposition")
        ->value.parameters.FindOrInsert("filename*0*")
        ->value.value = "utf-8''%C3%BC\xE2\x80\xAE";
    top.parts[1]->data.content = AnsiStr("\0", 1);
    ContentType html;
    html.type = Type::text, html.subType = SubType::html;
    const TempFolder folder;
    WriteWholeFile(folder.At("page"), "<p>\xC3\xBC</p>");
    MemoryFile page;
    ASSERT_TRUE(page.Open(File(AnsiStr(folder.At("page"))), MemoryFile::Mode::read));
    ASSERT_TRUE(top.parts[2]->SetContent(page, html));
    top.parts[3]->rawText = "X-Raw: 1\r\n\r\n--b--";
    const std::string text = *top.SaveToString({.seed = 1});
    const std::string line = "\r\n--" + text.substr(text.find("=_"), 34);
    for (
        const std::string& wanted :
        {"From: a@b.org\r\nSubject: =?utf-8?B?w7w=?=\r\nDate: Thu, 01 Jan 1970 00:00:00 +0000\r\n"
         "Message-ID: <91BEF87171C3E08549CB679A74876F2A@b.org>\r\nMIME-Version: 1.0\r\n"s,
         "multipart/mixed; boundary=\"" + line.substr(4) + "\"\r\n" + line + "\r\n",
         "base64\r\nContent-Disposition: attachment; filename*=utf-8''%C3%BC_\r\n\r\nw7wKLS1iCg=="s,
         "\r\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n"s,
         "\r\nContent-Type: text/html; charset=utf-8\r\n"
         "Content-Transfer-Encoding: quoted-printable\r\n\r\n<p>=C3=BC</p>" +
             line,
         line + "\r\nX-Raw: 1\r\n\r\n--b--" + line + "--\r\n"}) {
        EXPECT_NE(text.find(wanted), text.npos) << wanted << text;
    }
}

TEST(PartDraftTest, OnlyWhatWasChangedIsWrittenAnew) {
    const std::string text =
        "Received: 1\n\tx\nReceived: 2\nSUBJECT:  =?utf-8?q?=C3=BC?=\nX-Old: 1\n"
        "Content-type: MULTIPART/mixed; boundary=\"b\"; x*=us-ascii'en'y\nmime-version: 1.0 (a)\n"
        "To: group: a@b, c@d;\nX-New:1\n\npre\n--b\nContent-Type: text/html "
        "(c)\n\n<p>\n--b--\nepi\n";
    Part part;
    ASSERT_TRUE(Read(part, text, Bodies::files));
    Set(part, "X-New", "\xC3\xBC");
    Set(part, "X-Old", "");
    Set(part, "X-Last", "3");
    std::string written = MakeMailLines(text);
    const auto replace = [&written](std::string_view what, std::string_view with) {
        written.replace(written.find(what), what.size(), with);
    };
    replace("X-Old: 1\r\n", "");
    replace("X-New:1", "X-New: =?utf-8?B?w7w=?=\r\nX-Last: 3");
    EXPECT_EQ(*part.SaveToString({.isCompleted = false}), written);

#ifdef MIME_TEST_SIGNING
    // The signer covers what is in the file too.
    const std::string phrase = ToText(KivOssSec::Test::GetPassPhrase());
    const WriteOptions options{.signer = KivOssSec::Test::GetKeyFile("rsa.p12"),
                               .passPhrase = phrase};
    const std::string isSigned = *part.SaveToString(options);
    EXPECT_TRUE(isSigned.starts_with("Received: 1\r\n\tx\r\nReceived: 2\r\n"));
    EXPECT_EQ(isSigned.find("Received: 1", 1), std::string::npos);
    EXPECT_NE(isSigned.find("\r\n\r\n<p>\r\n--b--\r\nepi"), std::string::npos);
#endif
    part.parts[0]->headers.FindOrInsert("Content-Type")->value.value = "text/css";
    EXPECT_NE(part.SaveToString()->find("Content-Type: text/css"), std::string::npos);
    part.parts[0]->info.contentType = {AnsiStr(), Type::image, SubType::png};
    EXPECT_NE(part.SaveToString()->find("Content-Type: image/png"), std::string::npos);
}

}  // namespace
}  // namespace MIME

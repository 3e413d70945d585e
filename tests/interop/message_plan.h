#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <mime/mime.h>
#include <nlohmann/json.hpp>

/// One description of a message from which come both the library's tree and, without the library,
/// what a reader must find in its text.
namespace Interop {

struct Node {
    MIME::ContentType type;
    MIME::TransferEncoding::keys encoding = MIME::TransferEncoding::bit7;
    std::string body;
    std::string charset = {};
    std::string fileName = {};
    bool inFile = false;  ///< for Part::Write: the body comes from a file
    std::vector<Node> children = {};
};

struct Mailbox {
    std::string text;  ///< as a host gives it
    std::string name;  ///< what a reader shows
    std::string address;
};

struct Plan {
    std::string name;  ///< of the message, and of its file
    Node top;
    std::string subject = "Plain";
    std::vector<Mailbox> from = {{"ann@example.net", "", "ann@example.net"}};
    std::vector<Mailbox> to = {};
    /// Made with Part::Write, which writes fields as stored, instead of Part::Serialize.
    bool streamed = false;
};

MIME::ContentType Text(MIME::SubType::keys subType);
MIME::ContentType Multipart(MIME::SubType::keys subType);

/// The message as a tree. Body files go into `folder`.
std::unique_ptr<MIME::Part> MakeTree(const Plan& plan, const std::string& folder);

/// What a reader must find: the fields, and the entities before their children.
nlohmann::json Describe(const Plan& plan);

}  // namespace Interop

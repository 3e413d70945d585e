#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "dump.h"

namespace Behaviour {

/// What main sets before the first case runs.
struct Settings {
    std::string wanted;               ///< the label of the case to be dumped; empty to hash all
    std::filesystem::path temporary;  ///< where the library makes its files; empty between cases
    std::filesystem::path output;     ///< beside it, for what the cases write
};
extern Settings g_settings;

/// Can a label that begins with `group` be the wanted one? Saves making inputs that nobody needs.
bool IsWanted(std::string_view group);

/// Runs a case and prints its line, or when it is the wanted one its dump.
void RunCase(const std::string& label, const std::function<void(Dump&)>& body);

inline MIME::AnsiStr ToAnsi(std::string_view text) {
    return MIME::AnsiStr(text.data(), static_cast<unsigned>(text.size()));
}

/// A file and what else is beside it, read under both rules, with bodies in files and in memory.
void RunFile(const std::string& label, const std::string& path);
/// The same for a generated message.
void RunInput(unsigned number, const std::vector<std::string>& samples);
/// Bodies around the sizes of buffers, and messages that nest deeper than the mail rules allow.
void RunLarge();
/// A tree that was built in memory, written and serialized.
void RunBuilt(unsigned number);
/// Texts through every encoder, decoder and conversion.
void RunText(unsigned number);
/// Every key, extension, media type, charset and error text.
void RunVocabulary(const std::vector<std::string>& words);

}  // namespace Behaviour

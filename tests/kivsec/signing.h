#pragma once

#include <string>
#include <string_view>

#include "kivgui/file.h"
#include "support/temp_folder.h"

namespace KivOssSec::Test {

/// One of the files that make_keys.sh made.
inline KivGuiBase::File GetKeyFile(std::string_view name) {
    return KivGuiBase::File(KivGuiBase::AnsiStr(MIME_TEST_KEYS_DIR "/" + std::string(name)));
}

/// The pass phrase of all of them.
inline KivGuiBase::AnsiStr GetPassPhrase() {
    const std::string text = MIME::Test::ReadWholeFile(MIME_TEST_KEYS_DIR "/pass");
    return std::string_view(text).substr(0, text.find('\n'));
}

}  // namespace KivOssSec::Test

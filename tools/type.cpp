#include <string>
#include <string_view>

#include <mime/mime.h>

#include "commands.h"
#include "escape.h"
#include "output.h"

namespace Tool {

using MIME::AnsiStr;

namespace {

/// The preferred extension of a media type, or the media type of a file name or an extension; empty
/// when it is not known.
AnsiStr LookUp(const std::string& name) {
    AnsiStr found;
    if (name.find('/') != std::string::npos) {
        return MIME::GetExtFromTypeStr(AnsiStr(name), found) ? found : AnsiStr();
    }
    const size_t dot = name.rfind('.');
    const std::string extension = dot == std::string::npos ? name : name.substr(dot + 1);
    return MIME::GetTypeStrFromExt(AnsiStr(extension), found) ? found : AnsiStr();
}

}  // namespace

int LookUpTypes(const TypeOptions& options) {
    int status = 0;
    for (const std::string& name : options.names) {
        const AnsiStr found = LookUp(name);
        if (found.IsEmpty()) {
            PrintError(name + ": not known");
            status = 1;
        } else {
            Print(Escape(name) + "  " + Escape(found) + "\n");
        }
    }
    FinishOutput();
    return status;
}

}  // namespace Tool

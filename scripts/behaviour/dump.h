#pragma once

#include <string>
#include <string_view>

#include "mime/mime.h"

namespace Behaviour {

/// A text that grows by named values, each with its length, so that no two sets of values give the
/// same text.
class Dump {
public:
    Dump& Add(std::string_view name, std::string_view value);
    Dump& Add(std::string_view name, unsigned long long value);
    Dump& Add(std::string_view name, const MIME::AnsiStr& value) {
        return Add(name, std::string_view(value));
    }
    Dump& Add(std::string_view name, const std::string& value) {
        return Add(name, std::string_view(value));
    }
    Dump& Add(std::string_view name, const char* value) {
        return Add(name, std::string_view(value));
    }

    /// What an entity and those below it hold, body files included. `Data::ownsFile` is left out.
    void AddTree(const MIME::Part& part);
    void AddReport(const MIME::ReadReport& report);
    void AddParameters(const MIME::ParameterMap& parameters);

    const std::string& GetText() const { return text_; }
    unsigned long long GetHash() const;

private:
    std::string text_;
};

std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, std::string_view bytes);

/// The name without its folder, its random digits replaced.
std::string MaskFileName(std::string_view path);

/// The text with the random digits of generated boundaries replaced.
std::string MaskBoundaries(std::string text);

}  // namespace Behaviour

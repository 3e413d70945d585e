#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace MIME::Test {

/// Quoted-printable (RFC 2045, 6.7) in two steps that each are too simple to be wrong: every byte
/// becomes a unit, then the units are set in lines of at most 76 characters.
class QuotedPrintableReference {
public:
    static std::string Encode(std::string_view body) {
        if (body.substr(0, 3) == "\xEF\xBB\xBF") body.remove_prefix(3);
        return SetLines(MakeUnits(body));
    }

    /// One line, without its CR LF.
    static std::string DecodeLine(std::string_view line) {
        std::string bytes;
        for (size_t i = 0; i < line.size(); ++i) {
            const bool isEscape =
                line[i] == '=' && i + 2 < line.size() && IsHex(line[i + 1]) && IsHex(line[i + 2]);
            if (line[i] == '=' && i + 1 == line.size()) return bytes;
            if (!isEscape) {
                bytes += line[i];
                continue;
            }
            bytes += static_cast<char>(std::stoi(std::string(line.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        }
        return bytes + "\r\n";
    }

private:
    static constexpr std::string_view kHardBreak = "\r\n";

    static bool IsHex(char c) {
        return std::string_view("0123456789ABCDEFabcdef").find(c) != std::string_view::npos;
    }

    static std::string MakeEscape(char c) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(c);
        return {'=', kDigits[byte / 16], kDigits[byte % 16]};
    }

    static std::vector<std::string> MakeUnits(std::string_view body) {
        std::vector<std::string> units;
        for (size_t i = 0; i < body.size(); ++i) {
            const std::string_view rest = body.substr(i);
            const char c = rest[0];
            const bool endsLine = rest.size() == 1 || rest.substr(1, 2) == kHardBreak;
            if (rest.substr(0, 2) == kHardBreak) {
                units.emplace_back(kHardBreak);
                ++i;
            } else if ((c == ' ' || c == '\t') ? !endsLine
                                               : c > ' ' && c <= '~' && c != '.' && c != '=') {
                units.emplace_back(1, c);
            } else {
                units.push_back(MakeEscape(c));
            }
        }
        return units;
    }

    /// The last unit before a hard break or the end may use all 76 places; before any other, the
    /// "=" of a soft break must still find its place.
    static std::string SetLines(const std::vector<std::string>& units) {
        std::string text;
        size_t used = 0;
        for (size_t i = 0; i < units.size(); ++i) {
            if (units[i] == kHardBreak) {
                text += kHardBreak;
                used = 0;
                continue;
            }
            const bool endsLine = i + 1 == units.size() || units[i + 1] == kHardBreak;
            if (used + units[i].size() > (endsLine ? 76u : 75u)) {
                text += "=\r\n";
                used = 0;
            }
            text += units[i];
            used += units[i].size();
        }
        return text;
    }
};

}  // namespace MIME::Test

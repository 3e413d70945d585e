#include <iconv.h>

#include <cerrno>
#include <mutex>

#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"
#include "kivgui/utf8.h"

// iconv converts as far as the text is well-formed and says where it stopped. A byte at which no
// character begins is replaced and skipped, and the conversion continues in the state that it is
// in.

namespace KivGuiBase::Platform {

namespace {

bool IsOpen(iconv_t handle) noexcept {
    return handle != reinterpret_cast<iconv_t>(-1);
}

/// One open conversion of each charset that was used, closed when the library is unloaded and used
/// for nothing. The system unloads a charset's module soon after its last conversion is closed, and
/// loading it again for each of many short texts takes a hundred times as long as converting them.
class OpenCharsets {
public:
    OpenCharsets() noexcept = default;
    OpenCharsets(const OpenCharsets&) = delete;
    OpenCharsets& operator=(const OpenCharsets&) = delete;
    ~OpenCharsets() {
        for (size_t i = 0; i < count_; ++i) iconv_close(entries_[i].handle);
    }

    void Keep(std::string_view charset) noexcept {
        const std::lock_guard guard(mutex_);
        for (size_t i = 0; i < count_; ++i) {
            if (charset == entries_[i].name) return;
        }
        Entry& entry = entries_[count_];
        if (count_ == kMost || charset.size() >= sizeof entry.name) return;
        entry.name[charset.copy(entry.name, charset.size())] = '\0';
        entry.handle = iconv_open("UTF-8", entry.name);
        if (IsOpen(entry.handle)) ++count_;
    }

private:
    struct Entry {
        char name[65];
        iconv_t handle;
    };
    static constexpr size_t kMost = 255;

    std::mutex mutex_;
    Entry entries_[kMost + 1]{};
    size_t count_ = 0;
};

OpenCharsets openCharsets;

/// An open conversion of the system.
class Converter {
public:
    explicit Converter(const char* charset) noexcept : handle_(iconv_open("UTF-8", charset)) {
        if (IsOpen()) openCharsets.Keep(charset);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() {
        if (IsOpen()) iconv_close(handle_);
    }

    bool IsOpen() const noexcept { return Platform::IsOpen(handle_); }

    /// Converts from the start of `bytes` as far as they are well-formed, and removes those.
    /// @return 0, or the error number that stopped it.
    int Convert(std::string_view& bytes, TextBuilder& text) noexcept {
        char* in = const_cast<char*>(bytes.data());  // the interface is older than const
        size_t left = bytes.size();
        const int error = Run(&in, &left, text);
        bytes.remove_prefix(bytes.size() - left);
        return error;
    }

    /// Writes what the conversion has held back.
    void Flush(TextBuilder& text) noexcept { Run(nullptr, nullptr, text); }

private:
    int Run(char** in, size_t* left, TextBuilder& text) noexcept {
        for (;;) {
            char buffer[0x1000];
            char* out = buffer;
            size_t room = sizeof buffer;
            const bool failed = iconv(handle_, in, left, &out, &room) == static_cast<size_t>(-1);
            const int error = failed ? errno : 0;
            const auto written = static_cast<size_t>(out - buffer);
            text.Append({buffer, written});
            // A conversion that asks for room and uses none would never stop asking.
            if (error != E2BIG || written == 0 || !text.IsComplete()) return error;
        }
    }

    iconv_t handle_;
};

}  // namespace

bool AppendAsUtf8(const char* charset, std::string_view bytes, TextBuilder& text,
                  uint64_t& replaced) noexcept {
    Converter converter(charset);
    if (!converter.IsOpen()) {
        if (errno != ENOMEM) return false;
        NoteMissingMemory();
        text.Abandon();
        return true;
    }
    while (!bytes.empty() && text.IsComplete()) {
        const int error = converter.Convert(bytes, text);
        if (error == 0) break;
        // No flush here: it would also end the shifted state that the next bytes are in.
        ++replaced;
        text.Append(kReplacementCharacter);
        if (error == EINVAL || bytes.empty()) break;  // an unfinished character at the end
        bytes.remove_prefix(1);
    }
    converter.Flush(text);
    return true;
}

}  // namespace KivGuiBase::Platform

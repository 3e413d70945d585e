#pragma once

namespace MIME::Test {

/// A dynamic library that the test loads itself; unloaded at the end of the object.
class LoadedLibrary {
public:
    explicit LoadedLibrary(const char* path) noexcept;
    ~LoadedLibrary() { Unload(); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    bool IsOpen() const noexcept { return handle_ != nullptr; }
    void Unload() noexcept;

    /// An exported function by its mangled name; null when there is none.
    template <class Function>
    Function* Find(const char* name) const noexcept {
        return reinterpret_cast<Function*>(FindAddress(name));
    }

    /// Whether the library is in the process, whoever loaded it.
    static bool IsInProcess(const char* path) noexcept;

private:
    void* FindAddress(const char* name) const noexcept;

    void* handle_;
};

}  // namespace MIME::Test

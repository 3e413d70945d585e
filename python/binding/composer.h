#pragma once

#include <stdexcept>
#include <string>

#include "binding.h"
#include "mime/writing/composer.h"

namespace Binding {

/// A Composer or an Edit, which one thread at a time may use: while one writes without the interpreter's lock,
/// others get a RuntimeError.
template <class Writer>
class Guarded {
public:
    template <class... Arguments>
    explicit Guarded(Arguments&&... arguments) : writer_(std::forward<Arguments>(arguments)...) {}

    Writer& Get() {
        if (isBusy_) throw std::runtime_error("another thread, or a call before this, is using it");
        return writer_;
    }

    /// Runs `body` without the lock.
    template <class Body>
    auto Run(Body body) {
        Writer& writer = Get();
        const Mark mark(isBusy_);
        return WithoutLock([&] { return body(writer); });
    }

private:
    struct Mark {
        explicit Mark(bool& flag) : isBusy(flag) { isBusy = true; }
        ~Mark() { isBusy = false; }
        Mark(const Mark&) = delete;
        Mark& operator=(const Mark&) = delete;
        bool& isBusy;
    };

    Writer writer_;
    bool isBusy_ = false;  ///< only touched with the lock
};

/// Adds a function that changes the writer and returns it, so that calls can be chained.
template <class Writer, class Type, class... Arguments, class... Extra>
void AddChange(Type& type, const char* name, Writer& (Writer::*change)(Arguments...),
               const Extra&... extra) {
    type.def(
        name,
        [change](Guarded<Writer>& self, Arguments... arguments) -> Guarded<Writer>& {
            (self.Get().*change)(std::forward<Arguments>(arguments)...);
            return self;
        },
        py::return_value_policy::reference, extra...);
}

inline MIME::FileOptions MakeFileOptions(const std::string& name, const std::string& type,
                                         const std::string& contentId) {
    return {.name = name, .type = type, .contentId = contentId};
}

}  // namespace Binding

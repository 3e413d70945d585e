#include "mime/dll/module.h"

namespace MIME::Module {

namespace {

/// Attaches when the library is loaded and detaches when it is unloaded or the process ends. The
/// system does not report threads here, so they are neither attached nor detached.
class Attachment {
public:
    Attachment() noexcept { HandleEvent(this, kProcessAttach); }
    ~Attachment() { HandleEvent(this, kProcessDetach); }
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;
};

// Destroyed from the last to the first, and before the last what its constructor made.
KivGuiBase::BaseInitializer firstInitializer;
KivGuiBase::BaseInitializer secondInitializer;
Attachment attachment;

}  // namespace

}  // namespace MIME::Module

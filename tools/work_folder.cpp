#include "work_folder.h"

#include <system_error>

#include "failure.h"
#include "leftovers.h"
#include "platform/system.h"

namespace Tool {

WorkFolder::WorkFolder() {
    try {
        System::OnInterrupt(Leftovers::RemoveAllForGood);
        Leftovers::Add([this] { return path_ = System::MakeTemporaryFolder(); });
        System::SetTemporaryFolder(path_);
    } catch (const std::system_error& error) {
        throw Failure("folder for temporary files", error.what());
    }
}

}  // namespace Tool

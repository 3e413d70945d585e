#include "platform/system.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <thread>

// What the program asks of a POSIX system. Interrupts are taken by one thread that waits for them, so that
// temporary files are removed by ordinary code and not inside a signal handler.

namespace Tool::System {

namespace {

/// A descriptor 0, 1 or 2 that came closed would be given to the next file that is opened, and
/// output meant for the user would end in that file. It is opened so that its use fails.
void OpenIfClosed(int descriptor, int mode) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) return;
    // The lowest free number is the one asked for: those below it are taken.
    if (open("/dev/null", mode) == -1) std::abort();
}

/// The interrupts to act on: those that are not ignored.
sigset_t GetInterrupts() {
    sigset_t interrupts;
    sigemptyset(&interrupts);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action;
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            sigaddset(&interrupts, signal);
        }
    }
    return interrupts;
}

/// Ends the process by a signal that it blocks, so that its parent sees the true reason.
void EndBySignal(int signal) {
    std::signal(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    std::raise(signal);
}

}  // namespace

void PrepareStreams() {
    OpenIfClosed(STDIN_FILENO, O_WRONLY);
    OpenIfClosed(STDOUT_FILENO, O_RDONLY);
    OpenIfClosed(STDERR_FILENO, O_RDONLY);
    std::signal(SIGPIPE, SIG_IGN);
}

std::vector<std::string> GetArguments(int argc, char** argv) {
    return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

std::FILE* OpenStream(const std::string& path) {
    return std::fopen(path.c_str(), "rb");
}

bool IsTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

bool ShowsColours(std::FILE* stream) {
    const char* const terminal = std::getenv("TERM");
    return IsTerminal(stream) && terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string MakeTemporaryFolder() {
    const char* folder = std::getenv("TMPDIR");
    std::string path = folder != nullptr && *folder != '\0' ? folder : "/tmp";
    path += "/kivmime-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return path;
}

void SetTemporaryFolder(const std::string& path) {
    if (setenv("TMPDIR", path.c_str(), 1) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

void OnInterrupt(void (*cleanUp)()) {
    // Blocked in every thread, so that a signal waits for the one that takes it: removing files is
    // nothing that a signal handler may do.
    const sigset_t interrupts = GetInterrupts();
    pthread_sigmask(SIG_BLOCK, &interrupts, nullptr);
    std::thread([interrupts, cleanUp] {
        int signal = 0;
        while (sigwait(&interrupts, &signal) != 0) continue;
        cleanUp();
        EndBySignal(signal);
    }).detach();
}

}  // namespace Tool::System

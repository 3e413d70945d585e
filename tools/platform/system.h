#pragma once

#include <cstdio>
#include <string>
#include <vector>

/// What the tool needs from the operating system beyond the library. platform/posix and
/// platform/windows implement it; the build chooses one.
namespace Tool::System {

/// Makes standard input and output pass bytes unchanged, and writing to a closed pipe an ordinary
/// error. Called once, before anything is opened.
void PrepareStreams();

/// The arguments of the command line, without the program's name; UTF-8 on Windows, plain bytes
/// elsewhere. Takes those of main.
std::vector<std::string> GetArguments(int argc, char** argv);

/// Opens something that is not a plain file, such as a pipe, for reading; waits for its other end.
/// @return null, with errno set, on failure.
std::FILE* OpenStream(const std::string& path);

/// Does the stream go to a terminal?
bool IsTerminal(std::FILE* stream);

/// Does the stream go to a terminal that obeys codes for colours (ECMA-48, 8.3.117)? Prepares it for them.
bool ShowsColours(std::FILE* stream);

/// Makes a new folder for this user alone in the system's folder for temporary files.
/// @return its path. @throws std::system_error
std::string MakeTemporaryFolder();

/// Makes `path` the folder for temporary files of this process. Not to be called while another thread
/// may ask for that folder.
void SetTemporaryFolder(const std::string& path);

/// Calls `cleanUp` on a thread of its own when the user or the system interrupts the process, which
/// then ends as it would have anyway. To be called once, while the process has one thread. Interrupts
/// that were ignored when the process started are still ignored.
void OnInterrupt(void (*cleanUp)());

}  // namespace Tool::System

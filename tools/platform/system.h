#pragma once

#include <cstdio>
#include <string>
#include <vector>

/// What the tool asks the operating system beyond the library. platform/posix and
/// platform/windows answer; the build chooses.
namespace Tool::System {

/// Makes standard input and output carry bytes unchanged, and writing to a closed pipe an error
/// like any other. Called once, before anything is opened.
void PrepareStreams();

/// The arguments of the command line, without the program's name; UTF-8 on Windows, plain bytes
/// elsewhere. Takes those of main.
std::vector<std::string> GetArguments(int argc, char** argv);

/// Opens something that is no plain file, such as a pipe, for reading bytes; waits for its other
/// end.
/// @return null, with errno set, on failure.
std::FILE* OpenStream(const std::string& path);

/// Makes a new folder for this user alone in the system's folder for temporary files.
/// @return its path. @throws std::system_error
std::string MakeTemporaryFolder();

/// Makes `path` the folder for temporary files of this process. Not while another thread may ask
/// for that folder.
void SetTemporaryFolder(const std::string& path);

/// Has `cleanUp` called, on a thread of its own, when the user or the system ends the process
/// with an interrupt; the process then ends as it would have without us. Called once, while the
/// process has one thread. An interrupt that the process was started to ignore stays ignored.
void OnInterrupt(void (*cleanUp)());

}  // namespace Tool::System

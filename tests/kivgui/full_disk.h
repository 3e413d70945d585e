#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "kivgui/error.h"
#include "kivgui/stream.h"
#include "mime/foundation/file_access.h"

namespace KivGuiBase {

/// Every writer reports that `size` bytes do not fit at `path`: whether a write tells the failure or
/// only the close can, the close fails.
inline void ExpectDiskFull(const std::string& path, size_t size) {
    const File file((AnsiStr(path)));
    for (const int64_t announced : {int64_t{-1}, MIME::FileAccess::kDiskFileSize}) {
        MIME::FileAccess out(file);
        ASSERT_TRUE(out.OpenForWriting(announced));
        bool isWritten = true;
        for (size_t at = 0; at < size; at += 1000) {
            const bool isTaken = out.Write(std::string(1000, 'x').data(), 1000);
            EXPECT_TRUE(isWritten || !isTaken) << "nothing more can be written";
            isWritten = isTaken;
        }
        SetLastError(kErrorNone);
        EXPECT_FALSE(out.Close()) << size << ", announced " << announced;
        EXPECT_EQ(GetLastError(), kErrorDiskFull) << size << ", announced " << announced;
        EXPECT_TRUE(out.Close()) << "it is closed now";
    }
    SetLastError(kErrorNone);
    WriteStream out(file, WriteStreamMode::create);
    EXPECT_FALSE(out.Write(std::string(size, 'x').c_str()) && out.Close()) << size;
    EXPECT_EQ(GetLastError(), kErrorDiskFull) << size;
}

}  // namespace KivGuiBase

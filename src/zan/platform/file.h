#pragma once

namespace zan::platform {

// The system's open flags for those of the library's file classes: 0 read only, 0x0001 write
// only, 0x0002 read and write, 0x0008 append, 0x0100 create, 0x0200 truncate, 0x8000 binary and
// 0x4000 text, which are the same here. Files are never inherited by a program that this one
// starts.
//
// -1, with EINVAL in errno, for any other bit and for write only and read and write at once: a
// flag of the system by mistake must not open the file in another mode.
int openFlags(int flags);

// The permission of a new file, before the umask.
constexpr int FILE_PERMISSION = 0666;

}  // namespace zan::platform

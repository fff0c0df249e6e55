// Backing files of file-mapped images: creating, sizing, mapping and removing them.
//
// Thin wrappers over the system calls so that the image code stays free of them. Calls that the
// image code reports in its debug log hand back the result together with errno.
#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace platform {

struct FileResult {
  int64_t value;  // what the call returned; -1 on failure
  int error;      // errno after a failure, else 0
};

// Opens `path` for reading and writing, creating it with the permission bits as given, takes the
// file's exclusive lock and truncates it. The descriptor, or -1; `inUse` tells a file whose lock
// another open description holds (another image's backing file), which is left untouched: cutting
// it short would turn that image's mapped pages into bus errors.
int OpenBackingFile(const char* path, unsigned permissions, bool* inUse);

// Creates a fresh file exclusively in $TMPDIR (when set) or /tmp, locked like the files above, and
// stores its path. The descriptor, or -1 when no file could be made.
int CreateTemporaryFile(std::string& path);

FileResult TruncateFile(int descriptor, int64_t length);
FileResult SeekFile(int descriptor, int64_t offset);   // from the start; the new offset
FileResult WriteZeros(int descriptor, int64_t count);  // at the current offset; bytes written
FileResult CloseFile(int descriptor);
FileResult RemoveFile(const char* path);
// Identifies the file behind a descriptor (device and inode); false when it cannot be read.
struct FileIdentity {
  uint64_t device;
  uint64_t inode;
  auto operator<=>(const FileIdentity&) const = default;
};
bool IdentifyFile(int descriptor, FileIdentity* identity);

// A second descriptor for the same open file, or -1.
int DuplicateDescriptor(int descriptor);

// Maps `length` bytes of the file at `offset`, readable, writable and shared; null on failure.
void* MapFileRegion(int descriptor, int64_t offset, int64_t length);
FileResult UnmapFileRegion(void* address, int64_t length);

}  // namespace platform

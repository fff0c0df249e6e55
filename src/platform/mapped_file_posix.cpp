#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "platform/mapped_file.h"

namespace platform {

namespace {

FileResult Result(int64_t value) { return {value, value < 0 ? errno : 0}; }

// flock locks belong to the open file description, so views' duplicated descriptors share the
// owner's lock and keep the file claimed while any of them is open. False only when another
// description holds the lock: a file system without locks leaves the file usable, unguarded.
bool LockExclusively(int descriptor) {
  int result;
  do {
    result = flock(descriptor, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno != EWOULDBLOCK;
}

}  // namespace

int OpenBackingFile(const char* path, unsigned permissions, bool* inUse) {
  *inUse = false;
  if (!path || !*path) return -1;
  // Not O_TRUNC: the lock has to be ours before the file may change.
  int descriptor = open(path, O_RDWR | O_CREAT | O_CLOEXEC, static_cast<mode_t>(permissions));
  if (descriptor < 0) return -1;
  if (!LockExclusively(descriptor)) {
    *inUse = true;
    close(descriptor);
    return -1;
  }
  if (ftruncate(descriptor, 0) != 0) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

int CreateTemporaryFile(std::string& path) {
  const char* dir = std::getenv("TMPDIR");
  if (!dir || !*dir) dir = "/tmp";
  std::string name = dir;
  if (name.back() != '/') name += '/';
  name += "XQTImage.XXXXXX";
  // mkostemp rewrites the X's in place, so it needs a writable copy.
  std::vector<char> buffer(name.begin(), name.end());
  buffer.push_back('\0');
  int descriptor = mkostemp(buffer.data(), O_CLOEXEC);
  if (descriptor < 0) return -1;
  if (!LockExclusively(descriptor)) {
    unlink(buffer.data());
    close(descriptor);
    return -1;
  }
  path.assign(buffer.data());
  return descriptor;
}

FileResult TruncateFile(int descriptor, int64_t length) {
  return Result(ftruncate(descriptor, static_cast<off_t>(length)));
}

FileResult SeekFile(int descriptor, int64_t offset) {
  return Result(lseek(descriptor, static_cast<off_t>(offset), SEEK_SET));
}

FileResult WriteZeros(int descriptor, int64_t count) {
  if (count < 0) return {-1, EINVAL};
  std::vector<char> zeros(static_cast<size_t>(count), 0);
  ssize_t written;
  do {
    written = write(descriptor, zeros.data(), zeros.size());
  } while (written < 0 && errno == EINTR);
  return Result(written);
}

FileResult CloseFile(int descriptor) { return Result(close(descriptor)); }

FileResult RemoveFile(const char* path) {
  if (!path || !*path) return {-1, ENOENT};
  return Result(unlink(path));
}

bool IdentifyFile(int descriptor, FileIdentity* identity) {
  struct stat status;
  if (descriptor < 0 || fstat(descriptor, &status) != 0) return false;
  identity->device = static_cast<uint64_t>(status.st_dev);
  identity->inode = static_cast<uint64_t>(status.st_ino);
  return true;
}

int DuplicateDescriptor(int descriptor) {
  if (descriptor < 0) return -1;
  return fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

void* MapFileRegion(int descriptor, int64_t offset, int64_t length) {
  if (descriptor < 0 || offset < 0 || length <= 0) return nullptr;
  void* address = mmap(nullptr, static_cast<size_t>(length), PROT_READ | PROT_WRITE, MAP_SHARED,
                       descriptor, static_cast<off_t>(offset));
  return address == MAP_FAILED ? nullptr : address;
}

FileResult UnmapFileRegion(void* address, int64_t length) {
  if (!address || length <= 0) return {-1, EINVAL};
  return Result(munmap(address, static_cast<size_t>(length)));
}

}  // namespace platform

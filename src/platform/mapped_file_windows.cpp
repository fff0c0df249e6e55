// Backing files on Windows: files opened through CreateFileW and handed to the image code as C
// runtime descriptors, so that both systems share one interface; views through file mappings.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/mapped_file.h"

namespace platform {

namespace {

FileResult Result(int64_t value) { return {value, value < 0 ? errno : 0}; }
FileResult Failure() { return {-1, static_cast<int>(GetLastError())}; }

HANDLE HandleOf(int descriptor) {
  return descriptor < 0 ? INVALID_HANDLE_VALUE
                        : reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

std::wstring Wide(const char* utf8) {
  int count = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, -1, nullptr, 0);
  if (count <= 0) return {};
  std::wstring wide(static_cast<size_t>(count), L'\0');
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, -1, wide.data(), count);
  wide.resize(static_cast<size_t>(count - 1));
  return wide;
}

std::string Utf8(const std::wstring& wide) {
  int count = WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (count <= 0) return {};
  std::string text(static_cast<size_t>(count), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, text.data(), count, nullptr, nullptr);
  text.resize(static_cast<size_t>(count - 1));
  return text;
}

// The claim on a backing file is a lock on one byte far past any data, so that it never stands
// in the way of reading or writing the rows (Windows locks are mandatory). It belongs to the open
// file, which duplicated descriptors share, so views keep the file claimed like the owner.
bool LockExclusively(HANDLE file, bool* inUse) {
  OVERLAPPED at{};
  at.Offset = 0xFFFFFFFEu;
  at.OffsetHigh = 0x7FFFFFFFu;
  if (LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at)) {
    return true;
  }
  DWORD error = GetLastError();
  *inUse = error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING;
  // A file system without locks leaves the file usable, unguarded.
  return !*inUse;
}

// Deletion is shared too, so that a backing file can be removed while a view still has it open.
HANDLE OpenShared(const std::wstring& path, DWORD disposition) {
  return CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

int Descriptor(HANDLE file) {
  int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_RDWR | _O_BINARY);
  if (descriptor < 0) CloseHandle(file);
  return descriptor;
}

}  // namespace

// Windows files carry no POSIX permission bits, so `permissions` has nothing to set here.
int OpenBackingFile(const char* path, unsigned /*permissions*/, bool* inUse) {
  *inUse = false;
  if (!path || !*path) return -1;
  std::wstring wide = Wide(path);
  if (wide.empty()) return -1;
  HANDLE file = OpenShared(wide, OPEN_ALWAYS);
  if (file == INVALID_HANDLE_VALUE) return -1;
  LARGE_INTEGER start{};
  if (!LockExclusively(file, inUse) || !SetFilePointerEx(file, start, nullptr, FILE_BEGIN) ||
      !SetEndOfFile(file)) {
    CloseHandle(file);
    return -1;
  }
  return Descriptor(file);
}

// In $TMPDIR when it is set, as on the other systems, else in the user's temporary folder.
int CreateTemporaryFile(std::string& path) {
  std::wstring folder;
  const char* chosen = std::getenv("TMPDIR");
  if (chosen && *chosen) {
    folder = Wide(chosen);
    if (folder.empty()) return -1;
    if (folder.back() != L'\\' && folder.back() != L'/') folder += L'\\';
  } else {
    wchar_t system[MAX_PATH + 1];
    DWORD length = GetTempPathW(MAX_PATH + 1, system);
    if (length == 0 || length > MAX_PATH) return -1;
    folder = system;
  }
  // CREATE_NEW makes the file exclusively; a name that exists already is passed over.
  uint64_t seed = GetTickCount64() ^ (uint64_t{GetCurrentProcessId()} << 32);
  for (int attempt = 0; attempt < 100; ++attempt) {
    seed = seed * 6364136223846793005u + 1442695040888963407u;
    wchar_t name[32];
    swprintf(name, 32, L"XQTImage.%06X", static_cast<unsigned>(seed >> 40) & 0xFFFFFF);
    std::wstring candidate = folder + name;
    HANDLE file = OpenShared(candidate, CREATE_NEW);
    if (file == INVALID_HANDLE_VALUE) {
      if (GetLastError() == ERROR_FILE_EXISTS) continue;
      return -1;
    }
    bool inUse = false;
    if (!LockExclusively(file, &inUse)) {
      CloseHandle(file);
      DeleteFileW(candidate.c_str());
      return -1;
    }
    path = Utf8(candidate);
    return Descriptor(file);
  }
  return -1;
}

FileResult TruncateFile(int descriptor, int64_t length) {
  errno_t error = _chsize_s(descriptor, length);
  return {error == 0 ? 0 : -1, error};
}

FileResult SeekFile(int descriptor, int64_t offset) {
  return Result(_lseeki64(descriptor, offset, SEEK_SET));
}

FileResult WriteZeros(int descriptor, int64_t count) {
  if (count < 0 || count > INT32_MAX) return {-1, EINVAL};
  std::vector<char> zeros(static_cast<size_t>(count), 0);
  return Result(_write(descriptor, zeros.data(), static_cast<unsigned>(count)));
}

FileResult CloseFile(int descriptor) { return Result(_close(descriptor)); }

// The name goes at once, as on POSIX systems, even while a view keeps the file open: Windows 10
// removes it with POSIX semantics; where that is refused, the file goes when its last handle
// closes.
FileResult RemoveFile(const char* path) {
  if (!path || !*path) return {-1, ENOENT};
  std::wstring wide = Wide(path);
  if (wide.empty()) return {-1, ENOENT};
  HANDLE file =
      CreateFileW(wide.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    FILE_DISPOSITION_INFO_EX disposition{};
    disposition.Flags = FILE_DISPOSITION_FLAG_DELETE | FILE_DISPOSITION_FLAG_POSIX_SEMANTICS;
    // FileDispositionInfoEx, which older headers do not name.
    constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
    bool removed =
        SetFileInformationByHandle(file, kDispositionEx, &disposition, sizeof(disposition));
    CloseHandle(file);
    if (removed) return {0, 0};
  }
  if (!DeleteFileW(wide.c_str())) return Failure();
  return {0, 0};
}

bool IdentifyFile(int descriptor, FileIdentity* identity) {
  BY_HANDLE_FILE_INFORMATION information;
  HANDLE file = HandleOf(descriptor);
  if (file == INVALID_HANDLE_VALUE || !GetFileInformationByHandle(file, &information)) {
    return false;
  }
  identity->device = information.dwVolumeSerialNumber;
  identity->inode = uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow;
  return true;
}

int DuplicateDescriptor(int descriptor) { return descriptor < 0 ? -1 : _dup(descriptor); }

// A view starts at a multiple of the allocation granularity; a region elsewhere is mapped from
// the multiple below it, and the address of the region inside that view is handed out.
void* MapFileRegion(int descriptor, int64_t offset, int64_t length) {
  HANDLE file = HandleOf(descriptor);
  if (file == INVALID_HANDLE_VALUE || offset < 0 || length <= 0) return nullptr;
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  int64_t granularity = system.dwAllocationGranularity > 0 ? system.dwAllocationGranularity : 65536;
  int64_t start = offset - offset % granularity;
  // A view cannot reach past the end of the file, as a POSIX mapping may: the band is cut at the
  // end, where the image code refuses rows anyway.
  LARGE_INTEGER size;
  if (!GetFileSizeEx(file, &size) || size.QuadPart <= offset) return nullptr;
  int64_t end = std::min<int64_t>(offset + length, size.QuadPart);
  auto span = static_cast<uint64_t>(end - start);
  if (span > SIZE_MAX) return nullptr;
  HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
  if (!mapping) return nullptr;
  void* view =
      MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, static_cast<DWORD>(start >> 32),
                    static_cast<DWORD>(start), static_cast<SIZE_T>(span));
  CloseHandle(mapping);  // the view keeps the mapping alive
  return view ? static_cast<char*>(view) + (offset - start) : nullptr;
}

FileResult UnmapFileRegion(void* address, int64_t length) {
  if (!address || length <= 0) return {-1, EINVAL};
  MEMORY_BASIC_INFORMATION region;
  if (VirtualQuery(address, &region, sizeof(region)) == 0 || !region.AllocationBase) {
    return Failure();
  }
  if (!UnmapViewOfFile(region.AllocationBase)) return Failure();
  return {0, 0};
}

}  // namespace platform

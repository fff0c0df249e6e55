#include "image/file_mapping.h"

#include <map>
#include <mutex>
#include <string>

#include "image/pixel_format_table.h"
#include "platform/mapped_file.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"
#include "plugin/host_strings.h"

namespace {

// Permission bits of a named backing file. Hexadecimal, not octal, as the program always had it.
constexpr unsigned kFilePermissions = 0x666;
// Zero bytes written past the last row, so the file really has its full length on disk.
constexpr int64_t kTailBytes = 4096;

int64_t Granularity() { return AllocationGranularity > 0 ? AllocationGranularity : 4096; }

int64_t SaturatingMultiply(int64_t a, int64_t b) {
  int64_t product;
  return __builtin_mul_overflow(a, b, &product) ? INT64_MAX : product;
}

// The smallest multiple of the granularity that holds `bytes`; false when that does not fit.
bool RoundUpToGranularity(int64_t bytes, int64_t* rounded) {
  int64_t g = Granularity();
  int64_t padded;
  if (__builtin_add_overflow(bytes, g - 1, &padded)) return false;
  *rounded = padded / g * g;
  return true;
}

// Row size and file size of a mapped image. False when a size does not fit in 64 bits; the
// largest band (five rows) and the file's tail must fit too, so the band arithmetic never
// overflows later.
bool MappedSizes(const ImageClassData* image, int64_t* rowSize, int64_t* size) {
  int64_t bytes, fileSize, fiveRows, bandEnd;
  if (__builtin_mul_overflow(image->PixelSize, image->Width, &bytes)) return false;
  if (!RoundUpToGranularity(bytes, rowSize)) return false;
  if (__builtin_mul_overflow(image->Height, *rowSize, size)) return false;
  if (__builtin_add_overflow(*size, Granularity(), &fileSize)) return false;
  if (__builtin_mul_overflow(*rowSize, int64_t{5}, &fiveRows)) return false;
  return !__builtin_add_overflow(fiveRows, Granularity(), &bandEnd);
}

// The POSIX path of a folder item, or empty when there is none to use. Read from "NativePath" on
// every host version: Linux paths are bytes, so no URL or normalisation step is needed.
std::string FolderItemPath(REALobject item) {
  auto get = hostapi::REALGetPropValueString.get();
  REALstring native = nullptr;
  if (!item || !get || get(item, "NativePath", &native) == 0 || !native) return {};
  std::string path;
  {
    rbText text(native);
    if (!text.Failed()) path.assign(text.View());
  }
  UnlockString(native);
  if (Debugging()) LogMessageX("native path: %s", path.c_str());
  // A NUL inside would silently name another file.
  if (path.find('\0') != std::string::npos) return {};
  return path;
}

// Gives the file its full length and writes the tail, so a full disk shows now and not as a
// fault on first touch of a mapped page.
bool SizeBackingFile(int descriptor, int64_t size) {
  platform::FileResult result = platform::TruncateFile(descriptor, size + Granularity());
  if (result.value != 0) {
    DebugLogResult("ftruncate", static_cast<int>(result.value), result.error);
    return false;
  }
  result = platform::SeekFile(descriptor, size);
  if (result.value != size) {
    DebugLogResult("lseek", static_cast<int>(result.value), result.error);
    return false;
  }
  result = platform::WriteZeros(descriptor, kTailBytes);
  if (result.value != kTailBytes) {
    DebugLogResult("write", static_cast<int>(result.value), result.error);
    return false;
  }
  return true;
}

// Views holding each backing file open through their own descriptors. A file with views is not
// truncated when its owner closes: the views' mapped pages would turn into bus errors.
class ViewRegistry {
 public:
  void Add(const platform::FileIdentity& file) {
    std::lock_guard lock(mutex_);
    ++views_[file];
  }
  void Remove(const platform::FileIdentity& file) {
    std::lock_guard lock(mutex_);
    auto entry = views_.find(file);
    if (entry != views_.end() && --entry->second <= 0) views_.erase(entry);
  }
  bool HasViews(const platform::FileIdentity& file) {
    std::lock_guard lock(mutex_);
    return views_.count(file) != 0;
  }

 private:
  std::mutex mutex_;
  std::map<platform::FileIdentity, int> views_;
};

ViewRegistry& Views() {
  static ViewRegistry registry;
  return registry;
}

void DiscardBackingFile(int descriptor, const std::string& path) {
  platform::TruncateFile(descriptor, 0);
  platform::CloseFile(descriptor);
  platform::RemoveFile(path.c_str());
}

}  // namespace

void ImageConstructorFile(REALobject instance, int64_t width, int64_t height, int64_t format,
                          int64_t blockSize, REALobject filePath) {
  ImageClassData* image = ImageData(instance);
  DebugLogArgs("ImageConstructorFile", width, height, format);
  if (!InitImageClassData(image, width, height, format)) return;
  DebugLog("memblocksize", blockSize);

  int64_t rowSize, size;
  if (!MappedSizes(image, &rowSize, &size)) {
    DebugLog("Error: image too big for a mapped file.");
    return;
  }
  DebugLog("Size", size);

  std::string path = FolderItemPath(filePath);
  int descriptor;
  bool inUse = false;
  if (!path.empty()) {
    descriptor = platform::OpenBackingFile(path.c_str(), kFilePermissions, &inUse);
  } else {
    descriptor = platform::CreateTemporaryFile(path);
    if (descriptor < 0) {
      RaiseException("UnsupportedOperationException", "Failed to get temp path.");
      return;
    }
  }
  DebugLog("open returns", descriptor);
  if (inUse) DebugLog("Error: the file is the backing file of another image.");
  if (descriptor < 0) return;

  if (!SizeBackingFile(descriptor, size)) {
    DiscardBackingFile(descriptor, path);
    return;
  }
  // Without the path as a host string the file could not be removed at close.
  REALstring pathString =
      REALBuildUnicodeString(path.data(), static_cast<int64_t>(path.size()), kREALEncodingUTF8);
  if (!pathString) {
    DebugLog("Error: no host string for the path.");
    DiscardBackingFile(descriptor, path);
    return;
  }
  StoreString(&image->FilePath, pathString);
  UnlockString(pathString);

  image->FileDescriptor = descriptor;
  image->RowSize = rowSize;
  image->TotalSize = size;
  image->RowBuffer = nullptr;
  image->MappedAddress = nullptr;
  image->IsMapped = false;
  image->MappingFirstRow = image->MappingLastRow = -1;
  image->OwnsBuffer = false;
  setMemBlockSize(image, blockSize);
  StoreObject(&image->FileItem, filePath);

  image->GetRow = GetRowMapping;
  image->OwnsFile = true;
  image->IsMapping = true;
  DebugLog("get first row");
  uint8_t* first = GetRowMapping(image, 0);
  DebugLog("got first row");
  DebugLog("me->RowSize", image->RowSize);
  DebugLog("me->TotalSize", image->TotalSize);
  DebugLogPointer("me->RowBuffer", image->RowBuffer);
  if (first) image->Valid = true;
}

void setMemBlockSize(ImageClassData* image, int64_t size) {
  if (!image) return;
  int64_t g = Granularity();
  DebugLog("setMemBlockSize", size);
  DebugLog("AllocationGranularity", g);
  if (image->RowSize < 1) {
    DebugLog("RowSize is 0");
    return;
  }
  // The band's length is what munmap is given, so it must not change under a mapped band.
  UnmapBand(image);

  int64_t n = size / g;
  if (n < g) n = g;
  int64_t block = SaturatingMultiply(n, g);
  if (block > image->TotalSize) {
    block = image->TotalSize;
    DebugLog("Size too big, so reduce.");
  }
  int64_t fiveRows = SaturatingMultiply(5, image->RowSize);
  if (block < fiveRows) {
    block = fiveRows;
    DebugLog("Size too big, so enlarge to 5 rows.");
  }
  if (!RoundUpToGranularity(block, &block)) block = block / g * g;
  image->MappingRows = block / image->RowSize;
  image->MappingBlockSize = block;
  DebugLog("me->BufRow", image->MappingRows);
  DebugLog("me->memblocksize", image->MappingBlockSize);
}

uint8_t* GetRowMapping(ImageClassData* image, int64_t y) {
  if (!image) return nullptr;
  int64_t r;
  if (__builtin_add_overflow(y, image->RowOffset, &r) || r < 0) {
    DebugLog("Error: index<0 in GetRowMapping!");
    return nullptr;
  }
  // Rows past the file's last row may lie inside a band (a band has at least five rows), but
  // nothing is stored there.
  if (r >= image->UnclippedHeight) {
    DebugLog("Error: index>=Height in GetRowMapping!");
    DebugLog("index", y);
    DebugLog("OffsetRow", image->RowOffset);
    DebugLog("Height", image->Height);
    DebugLog("TotalHeight", image->UnclippedHeight);
    return nullptr;
  }
  if (image->RowBuffer && image->MappingFirstRow <= r && r <= image->MappingLastRow) {
    return image->RowBuffer + (r - image->MappingFirstRow) * image->RowSize;
  }

  // Two rows of look-behind, so that neighbourhood operations walking down rarely remap.
  int64_t s = r >= 2 ? r - 2 : r;
  int64_t m = image->UnclippedHeight - image->MappingRows;
  if (s > m) s = m < 0 ? 0 : m;

  UnmapBand(image);
  DebugLog("SelectRow", s);
  int64_t offset;
  void* address = nullptr;
  if (!__builtin_mul_overflow(s, image->RowSize, &offset)) {
    address = platform::MapFileRegion(image->FileDescriptor, offset, image->MappingBlockSize);
  }
  if (!address) {
    DebugLog("mmap failed!");
    image->IsMapped = false;
    image->RowBuffer = nullptr;
    image->MappedAddress = nullptr;
    return nullptr;
  }
  DebugLogPointer("buf", address);
  if (reinterpret_cast<intptr_t>(address) < 0) DebugLog("bb is negative");
  image->RowBuffer = static_cast<uint8_t*>(address);
  image->MappedAddress = address;
  image->IsMapped = true;
  image->MappingFirstRow = s;
  image->MappingLastRow = s + image->MappingRows - 1;
  DebugLog("done");
  return image->RowBuffer + (r - s) * image->RowSize;
}

uint8_t* GetRowMappingMirrored(ImageClassData* image, int64_t y) {
  if (!image) return nullptr;
  return GetRowMapping(image, image->Height - 1 - y);
}

void UnmapBand(ImageClassData* image) {
  if (!image || !image->IsMapped) return;
  DebugLog("Unmap");
  image->IsMapped = false;
  if (image->MappedAddress) {
    platform::UnmapFileRegion(image->MappedAddress, image->MappingBlockSize);
    image->RowBuffer = nullptr;
    image->MappedAddress = nullptr;
    image->MappingFirstRow = image->MappingLastRow = -1;
  }
}

void ReleaseBackingFile(ImageClassData* image) {
  if (!image || !image->IsMapping) return;
  if (image->OwnsFile) {
    DebugLog("Free Mapping");
    platform::FileIdentity file;
    platform::FileResult result;
    if (platform::IdentifyFile(image->FileDescriptor, &file) && Views().HasViews(file)) {
      DebugLog("ftruncate skipped, views still use the file");
    } else {
      result = platform::TruncateFile(image->FileDescriptor, 0);
      DebugLogResult("ftruncate", static_cast<int>(result.value), result.error);
    }
    result = platform::CloseFile(image->FileDescriptor);
    DebugLogResult("close", static_cast<int>(result.value), result.error);
    if (image->FilePath) {
      rbText path(image->FilePath);
      result = platform::RemoveFile(path.GetUTF8());
    } else {
      result = {-1, 0};
    }
    DebugLogResult("unlink", static_cast<int>(result.value), result.error);
    // Once only: a second close must not reach whatever file later gets this descriptor number
    // (0 would be standard input).
    image->OwnsFile = false;
    image->FileDescriptor = -1;
  } else if (image->FileDescriptor >= 0) {
    // A view's own descriptor of its parent's file.
    platform::FileIdentity file;
    if (platform::IdentifyFile(image->FileDescriptor, &file)) Views().Remove(file);
    platform::CloseFile(image->FileDescriptor);
    image->FileDescriptor = -1;
  }
}

void ShareParentFile(ImageClassData* view, const ImageClassData* parent) {
  if (!view || !parent) return;
  view->OwnsFile = false;
  view->IsMapped = false;
  view->MappedAddress = nullptr;
  if (!parent->IsMapping) {
    view->IsMapping = false;
    view->RowBuffer = parent->RowBuffer;
    return;
  }
  view->RowBuffer = nullptr;
  view->IsMapping = true;
  view->MappingFirstRow = view->MappingLastRow = -1;
  view->MappingRows = parent->MappingRows;
  view->MappingBlockSize = parent->MappingBlockSize;
  // An own descriptor: the parent may be closed while the view lives, and its descriptor number
  // may then belong to another file.
  view->FileDescriptor = platform::DuplicateDescriptor(parent->FileDescriptor);
  platform::FileIdentity file;
  if (platform::IdentifyFile(view->FileDescriptor, &file)) Views().Add(file);
}

RBBoolean MapInRows(REALobject instance, int64_t firstRow, int64_t lastRow) {
  ImageClassData* image = ImageData(instance);
  DebugLog("FirstRow", firstRow);
  DebugLog("LastRow", lastRow);
  if (!image) return false;
  int64_t first = firstRow > 0 ? firstRow : 0;
  int64_t last = lastRow >= 0 && lastRow < image->Height ? lastRow : image->Height - 1;
  if (last < first) {
    DebugLog("last before first?");
    return false;
  }
  if (!image->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (!image->GetRow) {
    DebugLog("GetRow is nil");
    return false;
  }
  if (!image->IsMapping) {
    DebugLog("Can't map in mapped images");
    return true;
  }
  // The band is kept in storage rows; a clip's rows start RowOffset further down.
  int64_t firstStored = first + image->RowOffset;
  int64_t lastStored = last + image->RowOffset;
  if (image->IsMapped && image->MappingFirstRow <= firstStored &&
      lastStored <= image->MappingLastRow) {
    DebugLog("Mapping not needed as in range");
    return true;
  }

  int64_t count = last - first + 1;
  DebugLog("RowCount", count);
  UnmapBand(image);
  int64_t need = SaturatingMultiply(count, image->RowSize);
  DebugLog("BlockSizeNeeded", need);
  DebugLog("memblocksize", image->MappingBlockSize);
  if (need > image->MappingBlockSize) setMemBlockSize(image, need);
  // Once the whole file is one band a larger request changes nothing.
  while (image->MappingRows <= last - first && need <= image->TotalSize) {
    need += Granularity();
    setMemBlockSize(image, need);
    DebugLog("BufRow", image->MappingRows);
    DebugLog("memblocksize", image->MappingBlockSize);
  }
  return GetRowMapping(image, first) != nullptr;
}

int64_t GetMemBlockSize(REALobject instance, intptr_t) {
  ImageClassData* image = ImageData(instance);
  return image ? image->MappingBlockSize : 0;
}

void SetMemBlockSize(REALobject instance, intptr_t, int64_t size) {
  ImageClassData* image = ImageData(instance);
  DebugLog("SetMemBlockSize", size);
  if (!image) return;
  UnmapBand(image);
  setMemBlockSize(image, size);
  if (image->GetRow) image->GetRow(image, 0);
}

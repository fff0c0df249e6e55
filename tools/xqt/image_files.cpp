#include "image_files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

#include "codecs.h"

namespace xqt::tool {
namespace {

// Closes the stream at scope exit unless handed on.
class File {
 public:
  explicit File(FILE* file) : file_(file) {}
  ~File() {
    if (file_) std::fclose(file_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  FILE* get() const { return file_; }
  // Closes now and reports whether everything buffered reached the file.
  bool Close() {
    FILE* file = file_;
    file_ = nullptr;
    return std::fclose(file) == 0;
  }

 private:
  FILE* file_;
};

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

constexpr unsigned char kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};

// A temporary file beside `target`, created exclusively so that two writers never share one.
FILE* OpenTemporaryBeside(const std::filesystem::path& target, std::filesystem::path* made) {
  std::random_device entropy;
  std::mt19937_64 random((static_cast<uint64_t>(entropy()) << 32) ^ entropy());
  for (int attempt = 0; attempt < 100; ++attempt) {
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%012llx.tmp",
                  static_cast<unsigned long long>(random() & 0xffffffffffffULL));
    std::filesystem::path candidate = target;
    std::string name = ".";
    name.append(target.filename().string()).append(suffix);
    candidate.replace_filename(name);
    errno = 0;
    FILE* file = std::fopen(candidate.c_str(), "wbx");
    if (file) {
      *made = candidate;
      return file;
    }
    if (errno != EEXIST) return nullptr;
  }
  return nullptr;
}

}  // namespace

int BytesPerPixel(Layout layout) {
  switch (layout) {
    case Layout::Gray:
      return 1;
    case Layout::GrayAlpha:
    case Layout::Gray16:
      return 2;
    case Layout::RGB:
      return 3;
    case Layout::RGBA:
    case Layout::CMYK:
      return 4;
  }
  return 0;
}

const char* LayoutName(Layout layout) {
  switch (layout) {
    case Layout::Gray:
      return "gray";
    case Layout::GrayAlpha:
      return "gray + alpha";
    case Layout::Gray16:
      return "16-bit gray";
    case Layout::RGB:
      return "RGB";
    case Layout::RGBA:
      return "RGBA";
    case Layout::CMYK:
      return "CMYK";
  }
  return "?";
}

const char* FileKindName(FileKind kind) { return kind == FileKind::PNG ? "PNG" : "JPEG"; }

void ReadImageFile(const std::string& path, const HeaderSink& onHeader, const RowSink& onRow) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) throw ToolError(path + ": is a directory");
  errno = 0;
  File file(std::fopen(path.c_str(), "rb"));
  if (!file.get()) {
    throw ToolError(path + ": " + (errno ? std::strerror(errno) : "cannot open"));
  }
  unsigned char start[8] = {};
  const size_t got = std::fread(start, 1, sizeof start, file.get());
  std::rewind(file.get());
  if (got == sizeof start && std::memcmp(start, kPngSignature, sizeof start) == 0) {
    ReadPng(file.get(), path, onHeader, onRow);
  } else if (got >= 3 && start[0] == 0xff && start[1] == 0xd8 && start[2] == 0xff) {
    ReadJpeg(file.get(), path, onHeader, onRow);
  } else if (got == 0) {
    throw ToolError(path + ": empty file, not an image");
  } else {
    throw ToolError(path + ": not an image (neither PNG nor JPEG)");
  }
}

FileKind KindForPath(const std::string& path) {
  const std::string extension = Lower(std::filesystem::path(path).extension().string());
  if (extension == ".png") return FileKind::PNG;
  if (extension == ".jpg" || extension == ".jpeg") return FileKind::JPEG;
  throw ToolError(path + ": unknown output file type '" + extension +
                  "' (use .png, .jpg or .jpeg)");
}

void WriteImageFile(const std::string& path, const ImageHeader& header, const RowSource& rows,
                    const WriteOptions& options) {
  const FileKind kind = KindForPath(path);
  const std::filesystem::path target(path);
  std::error_code error;
  if (std::filesystem::is_directory(target, error)) throw ToolError(path + ": is a directory");
  std::filesystem::path temporary;
  File file(OpenTemporaryBeside(target, &temporary));
  if (!file.get()) {
    throw ToolError(path + ": cannot create a file beside it (" +
                    (errno ? std::strerror(errno) : "unknown reason") + ")");
  }
  try {
    if (kind == FileKind::PNG) {
      WritePng(file.get(), path, header, rows, options.pngCompression);
    } else {
      WriteJpeg(file.get(), path, header, rows, options.jpegQuality);
    }
    const bool flushed = std::fflush(file.get()) == 0 && !std::ferror(file.get());
    if (!file.Close() || !flushed) throw ToolError(path + ": write failed (disk full?)");
    std::filesystem::rename(temporary, target, error);
    if (error)
      throw ToolError(path + ": cannot rename the finished file (" + error.message() + ")");
  } catch (...) {
    if (file.get()) file.Close();
    std::filesystem::remove(temporary, error);
    throw;
  }
}

}  // namespace xqt::tool

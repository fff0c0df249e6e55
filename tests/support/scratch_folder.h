// A scratch folder that TMPDIR points at while a test runs, so the temporary backing files of
// file-mapped images land where the test can see them; TMPDIR is restored afterwards.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/environment.h"

class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& prefix) {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = std::filesystem::temp_directory_path() /
            (prefix + "-" + (info ? info->name() : "") + "-" +
             std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
             std::to_string(reinterpret_cast<uintptr_t>(this)));
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
    const char* old = std::getenv("TMPDIR");
    hadTmpdir_ = old != nullptr;
    if (old) oldTmpdir_ = old;
    SetEnvironment("TMPDIR", path_.string());
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
    if (hadTmpdir_) {
      SetEnvironment("TMPDIR", oldTmpdir_);
    } else {
      ClearEnvironment("TMPDIR");
    }
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  bool IsEmpty() const { return std::filesystem::is_empty(path_); }
  // The folder's path as text, with `name` appended after a slash when given.
  std::string Named(const std::string& name = "") const {
    return name.empty() ? path_.string() : (path_ / name).string();
  }

 private:
  std::filesystem::path path_;
  std::string oldTmpdir_;
  bool hadTmpdir_ = false;
};

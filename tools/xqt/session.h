// One run of xqt: the emulated host with the plug-in loaded, the options every command shares,
// image files in and out, and the progress display.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "host/emulated_host.h"
#include "image_files.h"
#include "pictures.h"

namespace xqt::tool {

struct GlobalOptions {
  std::string plugin;   // empty: libImages.so beside xqt, or $XQT_PLUGIN
  bool quiet = false;   // no progress display
  bool debug = false;   // the plug-in's debug log on stderr
  bool mapped = false;  // images in file-mapped storage
  WriteOptions write;
};

// A progress line on stderr, redrawn from the host's yield hook: the plug-in yields while it
// works (rows of a pass, waits for worker threads), so the line moves exactly while the plug-in
// is busy and stands still if it stops yielding.
class Progress {
 public:
  Progress(host::Host& host, bool enabled);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  bool enabled() const { return enabled_; }
  void Begin(std::string label);
  void End();

 private:
  void OnYield();
  void Draw(std::chrono::steady_clock::time_point now);

  host::Host& host_;
  bool enabled_;
  bool active_ = false;
  std::string label_;
  std::chrono::steady_clock::time_point start_{};
  std::chrono::steady_clock::time_point lastDraw_{};
  int64_t yields_ = 0;
  bool drawn_ = false;
};

class Session {
 public:
  explicit Session(const GlobalOptions& options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  host::Host& host() { return *host_; }
  const Constants& constants() const { return *constants_; }
  const GlobalOptions& options() const { return options_; }
  void SetWriteOptions(const WriteOptions& write) { options_.write = write; }

  // What the tool is doing now, for the message when the plug-in raises an exception.
  void SetStage(std::string stage) { stage_ = std::move(stage); }
  const std::string& stage() const { return stage_; }

  // A new image, in memory or file-mapped (--mapped); throws ToolError naming `what` when the
  // size is below one, its byte count overflows or the plug-in leaves the image invalid.
  host::Ref NewImage(int64_t width, int64_t height, int64_t format, const std::string& what);
  host::Ref NewImage(int64_t width, int64_t height, int64_t format, bool mapped,
                     const std::string& what);
  // Reads a PNG or JPEG file into a new image of the matching format.
  host::Ref Load(const std::string& path);
  // Writes an image to a PNG or JPEG file chosen by the extension.
  void Save(const host::Ref& image, const std::string& path);
  // Lets the image yield to the host while the progress display is on.
  void Watch(const host::Ref& image);

  // Runs plug-in work under the progress display and returns the seconds it took.
  double Run(std::string_view label, const std::function<void()>& work);

 private:
  GlobalOptions options_;
  std::unique_ptr<host::Host> host_;
  std::unique_ptr<Constants> constants_;
  std::unique_ptr<Progress> progress_;
  std::string stage_;
};

// The host's interval between yields that the display asks for: at most every 30 ms.
inline constexpr int64_t kProgressYieldTicks = -30;

}  // namespace xqt::tool

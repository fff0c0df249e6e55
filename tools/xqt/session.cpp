#include "session.h"

#include <cstdio>
#include <vector>

#include "terminal.h"

namespace xqt::tool {

using host::Ref;
using Clock = std::chrono::steady_clock;

Progress::Progress(host::Host& host, bool enabled) : host_(host), enabled_(enabled) {
  if (enabled_) host_.OnYield([this] { OnYield(); });
}

Progress::~Progress() {
  End();
  if (enabled_) host_.OnYield(nullptr);
}

void Progress::Begin(std::string label) {
  if (!enabled_) return;
  label_ = std::move(label);
  start_ = Clock::now();
  lastDraw_ = start_;
  yields_ = 0;
  drawn_ = false;
  active_ = true;
}

void Progress::End() {
  if (!active_) return;
  active_ = false;
  if (drawn_) std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
}

void Progress::OnYield() {
  if (!active_) return;
  ++yields_;
  const Clock::time_point now = Clock::now();
  // Short operations finish before the line would be worth drawing.
  if (now - start_ < std::chrono::milliseconds(250)) return;
  if (drawn_ && now - lastDraw_ < std::chrono::milliseconds(80)) return;
  Draw(now);
}

void Progress::Draw(Clock::time_point now) {
  constexpr int kWidth = 24;
  constexpr int kBlock = 5;
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - start_).count();
  // The block runs to and fro; it advances only when the plug-in yields.
  const int span = kWidth - kBlock;
  const int step = static_cast<int>((elapsed / 60) % (2 * span));
  const int at = step < span ? step : 2 * span - step;
  char bar[kWidth + 1];
  for (int i = 0; i < kWidth; ++i) bar[i] = (i >= at && i < at + kBlock) ? '#' : '.';
  bar[kWidth] = '\0';
  std::fprintf(stderr, "\r\033[K%s [%s] %.1f s, %lld yields", label_.c_str(), bar,
               static_cast<double>(elapsed) / 1000.0, static_cast<long long>(yields_));
  std::fflush(stderr);
  lastDraw_ = now;
  drawn_ = true;
}

Session::Session(const GlobalOptions& options) : options_(options) {
  host_ = std::make_unique<host::Host>();
  host_->Load(options_.plugin.empty() ? host::Host::DefaultPluginPath() : options_.plugin);
  if (host_->FindClass("PictureXQT") == nullptr) {
    throw ToolError("the plug-in did not register PictureXQT");
  }
  constants_ = std::make_unique<Constants>(*host_);
  if (options_.debug) host_->SetShared("PictureXQT", "Debugging", true);
  progress_ = std::make_unique<Progress>(*host_, !options_.quiet && IsTerminal(stderr));
}

Session::~Session() {
  progress_.reset();
  constants_.reset();
  host_.reset();
}

Ref Session::NewImage(int64_t width, int64_t height, int64_t format, const std::string& what) {
  return NewImage(width, height, format, options_.mapped, what);
}

Ref Session::NewImage(int64_t width, int64_t height, int64_t format, bool mapped,
                      const std::string& what) {
  const std::string size = std::to_string(width) + " x " + std::to_string(height);
  const std::string formatName = "ImageFormat" + constants_->NameOf("ImageFormat", format);
  if (width < 1 || height < 1) {
    throw ToolError(what + ": an image of " + size + " pixels is empty");
  }
  // The plug-in answers 0 when the byte count overflows or the format is unknown.
  if (host_->CallShared<int64_t>("PictureXQT", "CalculateMemory", width, height, format) <= 0) {
    throw ToolError(what + ": the byte count of a " + size + " " + formatName + " image overflows");
  }
  SetStage(what + ": making a " + size + " " + formatName + " image");
  Ref image = mapped ? host_->New("PictureXQT", width, height, format, int64_t{0}, nullptr)
                     : host_->New("PictureXQT", width, height, format);
  if (!image || !image.Get<bool>("Valid")) {
    throw ToolError(what + ": the plug-in could not make a " + size + " " + formatName +
                    (mapped ? " file-mapped image" : " image"));
  }
  Watch(image);
  return image;
}

void Session::Watch(const Ref& image) {
  if (image && progress_->enabled()) image.Set("YieldTicks", kProgressYieldTicks);
}

Ref Session::Load(const std::string& path) {
  Ref image;
  PictureShape shape;
  Layout layout = Layout::RGB;
  ReadImageFile(
      path,
      [&](const ImageHeader& header) {
        layout = header.layout;
        image = NewImage(header.width, header.height, FormatForLayout(*constants_, layout), path);
        shape = Describe(image);
        SetStage(path + ": reading");
      },
      [&](int64_t y, const uint8_t* packed) {
        UnpackRow(shape, layout, packed, RowOf(image, y), shape.width);
      });
  if (!image) throw ToolError(path + ": no image in the file");
  return image;
}

void Session::Save(const Ref& image, const std::string& path) {
  const FileKind kind = KindForPath(path);
  const PictureShape shape = Describe(image);
  if (!shape.valid) throw ToolError(path + ": the image to write is not valid");
  const Layout layout = OutputLayout(shape, kind, path);
  std::vector<uint8_t> packed(static_cast<size_t>(shape.width) * BytesPerPixel(layout));
  SetStage(path + ": writing");
  WriteImageFile(
      path, ImageHeader{shape.width, shape.height, layout, kind},
      [&](int64_t y) -> const uint8_t* {
        PackRow(shape, layout, RowOf(image, y), packed.data(), shape.width);
        return packed.data();
      },
      options_.write);
}

double Session::Run(std::string_view label, const std::function<void()>& work) {
  struct Guard {
    Progress& progress;
    ~Guard() { progress.End(); }
  } guard{*progress_};
  progress_->Begin(std::string(label));
  const Clock::time_point start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace xqt::tool

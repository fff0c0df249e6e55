// Area filters: box blurs (whole and fractional radius) and convolution with a caller's kernel.
// Also the pieces the neighbourhood filters share: the channel plan, compact rows and a window of
// copied source rows.
#pragma once

#include <cstdint>
#include <vector>

#include "filters/filter_frame.h"
#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// The channels a filter reads and writes, alpha last, with their offsets in each image.
struct ChannelPlan {
  PixelFamily family = PixelFamily::kNone;
  int count = 0;    // 0: a source of no family, left alone
  int colours = 0;  // channels before alpha
  bool alpha = false;
  int64_t from[5] = {};
  int64_t to[5] = {};
};

// Fills `plan` for source and dest; false (with a debug line) when dest cannot take the result:
// a channel missing, or (with `sameSize`) smaller than the source.
bool PlanChannels(const ImageClassData& source, const ImageClassData& dest, ChannelPlan& plan,
                  bool sameSize = true);

// Pixels 0 ... width - 1 of `row` as `count` consecutive bytes each, in the plan's order.
void ExtractChannels(const uint8_t* row, int64_t width, int64_t pixelSize, const int64_t* offsets,
                     int count, uint8_t* out);

// Copies of the source rows around the current one, as compact channels with `pad` copies of
// the edge pixel on each side, so taps need no clamping across the row. Rows are copied before
// anything below them is written, so a dest that is the source sees only original pixels, and a
// file-mapped source's bands may move freely.
class RowWindow {
 public:
  RowWindow(ImageClassData* source, const ChannelPlan& plan, int64_t radius, int64_t pad);
  // Loads the rows up to y + radius; false when a row cannot be fetched.
  bool Advance(int64_t y);
  // Row j clamped to the image, pointing at pixel 0.
  const uint8_t* Row(int64_t j) const;
  int64_t Stride() const { return stride_; }

 private:
  ImageClassData* source_;
  const ChannelPlan& plan_;
  int64_t radius_, pad_, slots_, stride_, loaded_ = -1;
  std::vector<uint8_t> rows_;
};

// Exact unsigned division by a fixed divisor through a multiply, for the inner loops.
class Divider {
 public:
  explicit Divider(uint64_t divisor);
  uint64_t operator()(uint64_t n) const {
    uint64_t q = static_cast<uint64_t>((static_cast<unsigned __int128>(n) * magic_) >> 64);
    while (n - q * divisor_ >= divisor_) ++q;
    return q;
  }

 private:
  uint64_t divisor_, magic_;
};

// The blur the members run: every channel of the plan becomes the weighted mean of the box of
// radius (rx, ry) around it, inner samples weighted `inner`, the samples at distance rx + 1
// (ry + 1) weighted fx (fy). Edges clamped, rounded to nearest. Scalar running sums, so the cost
// per pixel does not depend on the radii.
bool BoxBlurRows(ImageClassData* source, ImageClassData* dest, const ChannelPlan& plan, int64_t rx,
                 int64_t ry, uint64_t inner, uint64_t fx, uint64_t fy);

// Convolution of the colour channels with a side x side kernel (row by row), value =
// round(sum / divisor) + bias (halves away from zero), clamped; alpha copied from the centre.
bool ConvolveRows(ImageClassData* source, ImageClassData* dest, const ChannelPlan& plan,
                  const int64_t* kernel, int64_t side, int64_t divisor, int64_t bias);

// "BoxBlurFilter(dest as PictureXQT, Radius as integer) as PictureXQT"
REALobject BoxBlurFilter(REALobject instance, REALobject dest, int64_t radius);
// "BoxBlurFilter(dest as PictureXQT, HorizontalRadius as integer, VerticalRadius as integer) as
// PictureXQT"
REALobject BoxBlurFilterHV(REALobject instance, REALobject dest, int64_t horizontal,
                           int64_t vertical);
// "BoxBlurFractionalFilter(dest as PictureXQT, Radius as double) as PictureXQT"
REALobject BoxBlurFractionalFilter(REALobject instance, REALobject dest, double radius);
// "ApplyMatrix(dest as PictureXQT, Matrix() as integer) as PictureXQT" and the forms with
// "Divisor as integer" and "Bias as integer".
REALobject ApplyMatrix(REALobject instance, REALobject dest, REALarray matrix);
REALobject ApplyMatrixD(REALobject instance, REALobject dest, REALarray matrix, int64_t divisor);
REALobject ApplyMatrixDB(REALobject instance, REALobject dest, REALarray matrix, int64_t divisor,
                         int64_t bias);

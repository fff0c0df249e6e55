// The resampler's reconstruction filters and the contribution lists built from them.
#pragma once

#include <cstdint>

#include "plugin/yield.h"

// One source sample feeding one output sample.
struct Contribution {
  float weight;   // never 0: zero weights are not stored
  int64_t pixel;  // source column (horizontal pass) or temp row (vertical pass)
};

// The samples feeding one output column or row.
struct ContributionList {
  Contribution* contributions;  // room for the widest window; only the first `count` are set
  int64_t count;
  float weightSum;  // accumulated in double over the stored weights
};

// k(x) of each filter, x >= 0, in double precision and in the written form.
double TriangleKernel(double x);
double BoxKernel(double x);
double Lanczos3Kernel(double x);
double Lanczos8Kernel(double x);
double MitchellKernel(double x);
double Poly3Kernel(double x);
double CubicKernel(double x);

using FilterKernel = double (*)(double);

struct ScaleFilter {
  int64_t mode;
  FilterKernel kernel;
  double radius;  // the window R
  // Costly kernels (two sines a tap) are worth remembering by argument while the lists are built.
  bool memoize = false;
};

// The filter of `mode` (1 ... 7), or null.
const ScaleFilter* FindScaleFilter(int64_t mode);

// How a pass bounds the candidates when it enlarges: floor / ceil (horizontal) or truncation
// (vertical). Shrinking always truncates.
enum class EnlargeBounds { kFloorCeil, kTruncate };

// Fills lists[0 ... count-1] for output samples of a pass with factor `scale` over `sourceCount`
// samples. The lists share one block, which the first list holds; when it cannot be allocated
// every list stays empty. `yield`, when not null, gets a turn after each list (the inline scaler).
// The block can be taken first and the lists filled later, a range at a time, by several threads.
void AllocateContributions(ContributionList* lists, int64_t count, double scale,
                           const ScaleFilter& filter);
void FillContributions(ContributionList* lists, int64_t from, int64_t to, double scale,
                       int64_t sourceCount, const ScaleFilter& filter, EnlargeBounds bounds,
                       YieldData* yield);
void BuildContributions(ContributionList* lists, int64_t count, double scale, int64_t sourceCount,
                        const ScaleFilter& filter, EnlargeBounds bounds, YieldData* yield);

// Frees the block of lists[0 ... count-1] built together and empties them.
void FreeContributions(ContributionList* lists, int64_t count);

// The horizontal lists in the shape the pass loops want: each list as a run of `stride` weights
// (as doubles) starting at source column first[x], with zeros for the columns it skips and for
// the padding; taps[x] of them reach its last stored weight. The stride is a multiple of `step`.
// Adding a zero-weight term changes no sum, so the results are the same bits. An empty list starts
// where the one before it does, so that first[] never steps back.
struct PaddedContributions {
  int64_t count = 0;
  int64_t stride = 0;
  int64_t step = 0;  // between the windows in the middle of the row, when positive
  int64_t* first = nullptr;
  int64_t* taps = nullptr;
  double* weights = nullptr;
  double* weightSum = nullptr;

  PaddedContributions() = default;
  PaddedContributions(const PaddedContributions&) = delete;
  PaddedContributions& operator=(const PaddedContributions&) = delete;
  ~PaddedContributions();
  // False when the arrays cannot be allocated. Build is Shape, which needs every list and sets
  // the stride and first[], then Fill over all lists; Fill's ranges may go to several threads.
  bool Build(const ContributionList* lists, int64_t listCount);
  bool Shape(const ContributionList* lists, int64_t listCount);
  void Fill(const ContributionList* lists, int64_t from, int64_t to);
};

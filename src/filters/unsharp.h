// The combining step of unsharp masking: each channel of self pushed away from a second image's
// value where the two differ by at least a threshold.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// The 64 KB table: entry a * 256 + b is self's new value for self value a and other value b.
void BuildUnsharpTable(double amount, int64_t threshold, uint8_t (&table)[65536]);

// The CMYK path: the four inks, then the byte at AlphaOffset (a second time, already updated,
// when the image has no alpha).
void unsharpFilterCMYKA(ImageClassData* self, ImageClassData* other, double amount,
                        int64_t threshold);

// The checks and the work over two records; false when a check fails.
bool unsharpFilter(ImageClassData* self, ImageClassData* other, double amount, int64_t threshold);

// "UnsharpFilter(origpixels as PictureXQT, Amount as double, Threshold as integer) as boolean"
RBBoolean UnsharpFilter(REALobject instance, REALobject origpixels, double amount,
                        int64_t threshold);

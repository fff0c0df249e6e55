// Whole-image pixel operations of PictureXQT: inversion, premultiplication by alpha and its
// inverse, the levels stretch, gray conversion and the comparison of two images.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// "Invert": every channel byte of the family, alpha included, becomes 255 - value; 16-bit gray
// samples are complemented whole.
void Invert1(REALobject instance);
void Invert5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height);

// "Multiply" / "Unmultiply": colour channels times alpha / 255 and back, through the tables when
// they could be built. Images without alpha are left as they are.
void Multiply1(REALobject instance);
void Multiply5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height);
void Unmultiply1(REALobject instance);
void Unmultiply5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height);

// The process-wide premultiplication tables, 256 x 256 bytes each, indexed [alpha x 256 + value];
// built on first use and never freed. The state: 0 not yet tried, 1 an allocation failed (never
// retried; the float formulas serve), 2 both ready.
extern uint8_t* MultiplyTable;
extern uint8_t* UnmultiplyTable;
extern uint8_t InitedMultiplyTable;
void InitMultiplyTable();

// The formulas the tables are built from, used directly when the tables are missing.
uint8_t MultiplyValue(uint8_t color, uint8_t alpha);
uint8_t UnmultiplyValue(uint8_t color, uint8_t alpha);

// "AutoLevel as boolean": stretches red, green and blue of an 8-bit RGB image so that the
// darkest and brightest half percent of the luminance histogram are cut off. When both limits
// fall on the same level (an image of one colour), the stretch is a threshold: values up to that
// level become 0 and values above it 255.
RBBoolean AutoLevel1(REALobject instance);
RBBoolean AutoLevel5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height);

// "RGBToGray(mode as integer = 0) as boolean": the gray value of mode 0 ... 4 into red, green and
// blue of every pixel; false for another mode or an image that is not RGB.
RBBoolean RGBToGray(REALobject instance, int64_t mode);

// "CompareImages(other as PictureXQT) as Int64": -1 for nil or images that do not match in size
// and family, 0 when one is not valid, else the number of pixels compared (Width x Height).
int64_t CompareImages(REALobject instance, REALobject other);

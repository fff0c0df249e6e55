// File-mapped storage: pixels in a backing file, mapped into memory one band of rows at a time,
// so that images larger than memory or the address space can be processed.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// "Constructor(width as integer, height as integer, ImageFormat as integer, BlockSize as Int64,
// FilePath as folderitem)". Bad arguments or a file that cannot be made leave the instance
// invalid; no temporary name raises UnsupportedOperationException "Failed to get temp path.".
void ImageConstructorFile(REALobject instance, int64_t width, int64_t height, int64_t format,
                          int64_t blockSize, REALobject filePath);

// Sizes the band: at least AllocationGranularity squared bytes, at most TotalSize, at least five
// rows, a whole number of pages. Sets MappingRows and MappingBlockSize.
void setMemBlockSize(ImageClassData* image, int64_t size);

// Row accessors of file-mapped images and views of them.
uint8_t* GetRowMapping(ImageClassData* image, int64_t y);
uint8_t* GetRowMappingMirrored(ImageClassData* image, int64_t y);

// Unmaps the band mapped now, if any, and forgets it.
void UnmapBand(ImageClassData* image);

// At close: the owner of a backing file truncates, closes and removes it; a view closes its own
// descriptor of the parent's file. Safe to call on any record, twice included.
void ReleaseBackingFile(ImageClassData* image);

// Gives a view of a file-mapped parent its own mapping state over the parent's file (no band
// mapped yet); the caller then maps the first band through the view's GetRow.
void ShareParentFile(ImageClassData* view, const ImageClassData* parent);

// "MapInRows(FirstRow as Integer, LastRow as Integer) as boolean"
RBBoolean MapInRows(REALobject instance, int64_t firstRow, int64_t lastRow);

// Accessors of the property MappingBlockSize.
int64_t GetMemBlockSize(REALobject instance, intptr_t param);
void SetMemBlockSize(REALobject instance, intptr_t param, int64_t size);

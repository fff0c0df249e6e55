// The PNG and JPEG codecs behind image_files.h, over open C streams.
#pragma once

#include <cstdio>
#include <string>

#include "image_files.h"

namespace xqt::tool {

// Both readers start at the beginning of `file`; `name` is used in messages.
void ReadPng(FILE* file, const std::string& name, const HeaderSink& onHeader, const RowSink& onRow);
void ReadJpeg(FILE* file, const std::string& name, const HeaderSink& onHeader,
              const RowSink& onRow);

void WritePng(FILE* file, const std::string& name, const ImageHeader& header, const RowSource& rows,
              int compression);
void WriteJpeg(FILE* file, const std::string& name, const ImageHeader& header,
               const RowSource& rows, int quality);

}  // namespace xqt::tool

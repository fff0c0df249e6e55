// File-mapped storage on the record: band sizing and walk, MapInRows, views over the parent's file.
#include "image/file_mapping.h"

#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <fcntl.h>
#endif

#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "host/emulated_host.h"
#include "image/image_class_data.h"
#include "plugin/host_api.h"
#include "support/log_capture.h"
#include "support/mapped_image_files.h"
#include "support/static_plugin.h"

namespace {

namespace fs = std::filesystem;
using xqt::host::Ref;

TEST(MappingBlockSize, FloorCapAndFiveRows) {
  AllocationGranularity = kPage;
  LogCapture log;

  struct Case {
    int64_t rowSize, height, request, blockSize, rows;
  };
  const Case cases[] = {
      {kPage, 10000, 1, kMiB16, 4096},  // any request below the floor: 16 MiB
      {kPage, 10000, kMiB16 + kPage + 100, kMiB16 + kPage, 4097},  // cut to whole pages
      {kPage, 20, 1, 20 * kPage, 20},                              // never more than the file ...
      {3 * kPage, 2, 1, 15 * kPage, 5},  // ... unless it has fewer than five rows
      {64, 10, 0, kPage, kPage / 64},    // five rows of 64 bytes: rounded up to a page
      {3 * kPage, 10000, -5, kMiB16, kMiB16 / (3 * kPage)},  // the rows that fit whole
  };
  for (const Case& c : cases) {
    ImageClassData image{};  // sized as the file constructor sizes one, without a file
    image.RowSize = c.rowSize;
    image.Height = image.UnclippedHeight = c.height;
    image.TotalSize = c.rowSize * c.height;
    setMemBlockSize(&image, c.request);
    EXPECT_EQ(image.MappingBlockSize, c.blockSize) << c.rowSize << " x " << c.height;
    EXPECT_EQ(image.MappingRows, c.rows) << c.rowSize << " x " << c.height;
  }
  EXPECT_TRUE(log.Logged("Size too big, so reduce."));
  EXPECT_TRUE(log.Logged("Size too big, so enlarge to 5 rows."));

  // A record without rows is left alone rather than divided by zero.
  ImageClassData empty{};
  empty.MappingRows = 7;
  setMemBlockSize(&empty, kMiB16);
  EXPECT_EQ(empty.MappingRows, 7);
  setMemBlockSize(nullptr, 1);
}

// The development environment maps by the page on every system, so these bands hold everywhere.
class FileMappedRecord : public MappedImagesTest<StaticPluginTest> {
 protected:
  FileMappedRecord() : MappedImagesTest({.inRuntime = false}) {}
};

TEST_F(FileMappedRecord, BandWalk) {
  Ref image = NewMapped(100, 10000);
  ImageClassData* record = ImageData(image.get());
  ASSERT_TRUE(record->Valid);
  EXPECT_EQ(record->GetRow, &GetRowMapping);
  EXPECT_EQ(record->RowSize, kPage);  // 300 bytes take a page, and 4096 (1024 RGBA) just one
  EXPECT_EQ(ImageData(NewMapped(1024, 5, 2).get())->RowSize, kPage);
  EXPECT_EQ(record->MappingLastRow, 4095);
  LogCapture log;
  uint8_t* row0 = GetRowMapping(record, 0);
  EXPECT_EQ(GetRowMapping(record, 4095) - row0, 4095 * kPage);
  EXPECT_FALSE(log.Logged("Unmap"));  // rows of the first band never remap

  // Past the band: the new band starts two rows before the row asked for.
  uint8_t* row5000 = GetRowMapping(record, 5000);
  EXPECT_EQ(record->MappingFirstRow, 4998);
  EXPECT_EQ(record->MappingLastRow, 4998 + 4095);
  EXPECT_EQ(row5000, record->RowBuffer + 2 * kPage);
  EXPECT_EQ(row5000[0], 0);  // a new file starts zeroed
  // The last row: the band is pushed back to end at the last row of the file.
  ASSERT_NE(GetRowMapping(record, 9999), nullptr);
  EXPECT_EQ(record->MappingFirstRow, 10000 - 4096);
  // Rows 0 and 1 have no look-behind.
  GetRowMapping(record, 1);
  EXPECT_EQ(record->MappingFirstRow, 1);
  GetRowMapping(record, 0);
  EXPECT_EQ(record->MappingFirstRow, 0);
  // The mirrored accessor counts from the bottom.
  uint8_t* bottom = GetRowMappingMirrored(record, 0);
  EXPECT_EQ(record->MappingLastRow, 9999);
  EXPECT_EQ(bottom, GetRowMapping(record, 9999));

  // Each row keeps its own number in the first and the last bytes of its pixels through remaps.
  const int64_t rows[] = {0, 4095, 4096, 7777, 9999};
  for (int64_t y : rows) {
    GetRowMapping(record, y)[0] = static_cast<uint8_t>(y % 251 + 1);
    GetRowMapping(record, y)[299] = static_cast<uint8_t>(y % 241 + 1);
  }
  for (int64_t i = 4; i >= 0; --i) {
    EXPECT_EQ(GetRowMapping(record, rows[i])[0], rows[i] % 251 + 1);
    EXPECT_EQ(GetRowMapping(record, rows[i])[299], rows[i] % 241 + 1);
  }
}

TEST_F(FileMappedRecord, RowsOutsideTheFileAreRefused) {
  Ref image = NewMapped(100, 3);  // a five-row band over three rows
  ImageClassData* record = ImageData(image.get());
  ASSERT_TRUE(record->Valid);
  EXPECT_EQ(record->MappingRows, 5);
  EXPECT_EQ(record->MappingLastRow, 4);
  LogCapture log;
  EXPECT_NE(GetRowMapping(record, 2), nullptr);
  EXPECT_EQ(GetRowMapping(record, 3), nullptr);  // inside the band, beyond the file
  EXPECT_EQ(GetRowMapping(record, -1), nullptr);
  EXPECT_EQ(GetRowMapping(record, INT64_MAX), nullptr);
  EXPECT_TRUE(log.Logged("Error: index>=Height in GetRowMapping!"));
  EXPECT_TRUE(log.Logged("Error: index<0 in GetRowMapping!"));
  EXPECT_EQ(record->MappingFirstRow, 0);  // a refused row keeps the band
  EXPECT_EQ(GetRowMapping(nullptr, 0), nullptr);
}

TEST_F(FileMappedRecord, MapInRows) {
  Ref image = NewMapped(100, 10000);
  ImageClassData* record = ImageData(image.get());
  ASSERT_TRUE(record->Valid);

  LogCapture log;
  EXPECT_TRUE(MapInRows(image.get(), 10, 20));
  EXPECT_TRUE(log.Logged("Mapping not needed as in range"));
  EXPECT_EQ(record->MappingFirstRow, 0);

  // A range that fits the band: the band starts two rows early, so the last two requested rows
  // fall outside it.
  EXPECT_TRUE(MapInRows(image.get(), 10, 4105));
  EXPECT_EQ(record->MappingBlockSize, kMiB16);
  EXPECT_EQ(record->MappingFirstRow, 8);
  EXPECT_EQ(record->MappingLastRow, 4103);

  // A range larger than the band grows it.
  EXPECT_TRUE(MapInRows(image.get(), 100, 5099));
  EXPECT_EQ(record->MappingRows, 5000);
  EXPECT_EQ(record->MappingBlockSize, 5000 * kPage);
  EXPECT_EQ(record->MappingFirstRow, 98);

  // Everything, with the arguments clamped.
  EXPECT_TRUE(MapInRows(image.get(), -3, 1000000));
  EXPECT_EQ(record->MappingFirstRow, 0);
  EXPECT_EQ(record->MappingLastRow, 9999);
  EXPECT_EQ(record->MappingBlockSize, record->TotalSize);

  EXPECT_FALSE(MapInRows(image.get(), 5, 2));
  EXPECT_TRUE(log.Logged("last before first?"));
  EXPECT_FALSE(MapInRows(nullptr, 0, 1));
  EXPECT_EQ(GetMemBlockSize(nullptr, 0), 0);

  // A span that is not a whole number of allocation units (64 KB on Windows): the band grows a
  // unit at a time until it has as many rows as were asked for (starting two rows early).
  Ref tall = NewMapped(1000, 10000, 1, kMiB16);
  ImageClassData* tallRecord = ImageData(tall.get());
  ASSERT_TRUE(tallRecord->Valid);
  EXPECT_TRUE(MapInRows(tall.get(), 1001, 7004));
  EXPECT_GE(tallRecord->MappingRows, 6004);
  EXPECT_EQ(tallRecord->MappingFirstRow, 999);

  // Storage that is wholly addressable needs nothing; a closed image maps nothing.
  EXPECT_TRUE(MapInRows(NewImage(10, 10, 1).get(), 0, 9));
  image.Call("Close");
  EXPECT_FALSE(MapInRows(image.get(), 0, 1));
}

TEST_F(FileMappedRecord, ViewOverTheParentsFile) {
  Ref parent = NewMapped(100, 300);
  ImageClassData* record = ImageData(parent.get());
  ASSERT_TRUE(record->Valid);
  GetRowMapping(record, 120)[5] = 0x5A;

  // A clip of rows 100 ... 149 with its own band.
  ImageClassData view = *record;
  view.RowOffset = 100;
  view.Height = 50;
  ShareParentFile(&view, record);
  EXPECT_FALSE(view.OwnsFile);
  EXPECT_TRUE(view.IsMapping);
  EXPECT_FALSE(view.IsMapped);
  EXPECT_EQ(view.MappingFirstRow, -1);
  EXPECT_EQ(view.RowBuffer, nullptr);
  EXPECT_GE(view.FileDescriptor, 0);
  EXPECT_NE(view.FileDescriptor, record->FileDescriptor);

  uint8_t* row20 = GetRowMapping(&view, 20);
  ASSERT_NE(row20, nullptr);
  EXPECT_EQ(row20[5], 0x5A);
  EXPECT_EQ(view.MappingFirstRow, 0);  // the parent's 300 rows fit one band
  EXPECT_NE(view.MappedAddress, record->MappedAddress);
  // Both bands show the same file.
  row20[6] = 0xA5;
  EXPECT_EQ(GetRowMapping(record, 120)[6], 0xA5);
  // The mirrored view counts from the clip's own last row.
  EXPECT_EQ(GetRowMappingMirrored(&view, 29)[5], 0x5A);

  UnmapBand(&view);
  EXPECT_FALSE(view.IsMapped);
  ReleaseBackingFile(&view);
  EXPECT_EQ(view.FileDescriptor, -1);
  EXPECT_EQ(GetRowMapping(&view, 0), nullptr);  // no descriptor: the mapping fails cleanly
  ReleaseBackingFile(&view);                    // twice is harmless

  // A view of an image in memory shares its buffer and has no file.
  Ref memory = NewImage(4, 4, 1);
  ImageClassData inMemory{};
  inMemory.FileDescriptor = -1;
  ShareParentFile(&inMemory, ImageData(memory.get()));
  EXPECT_EQ(inMemory.RowBuffer, ImageData(memory.get())->RowBuffer);
  EXPECT_FALSE(inMemory.IsMapping);
  EXPECT_EQ(inMemory.FileDescriptor, -1);
}

TEST_F(FileMappedRecord, ClosingTwiceReleasesTheFileOnce) {
  Ref image = NewMapped(10, 10);
  ImageClassData* record = ImageData(image.get());
  ASSERT_TRUE(record->Valid);
  int descriptor = record->FileDescriptor;
  image.Call("Close");  // the fixture sees the file gone
  EXPECT_FALSE(record->OwnsFile);

  // The second close touches neither the file that now has the old descriptor nor standard input.
#if !defined(_WIN32)
  bool stdinOpen = fcntl(0, F_GETFD) != -1;
#endif
  fs::path other = scratch_ / "other";
  FILE* file = std::fopen(other.string().c_str(), "w");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(fileno(file), descriptor);
  image.Call("Close");
  EXPECT_GE(std::fputs("still open", file), 0);
  EXPECT_EQ(std::fflush(file), 0);
#if !defined(_WIN32)
  EXPECT_EQ(fcntl(0, F_GETFD) != -1, stdinOpen);
#endif
  EXPECT_EQ(std::fclose(file), 0);
  fs::remove(other);
}

}  // namespace

// The debug switch and the shape of debug lines.
#include "plugin/debug_log.h"

#include <gtest/gtest.h>

#include <string>

#include "support/log_capture.h"

namespace {

TEST(DebugLog, NothingIsWrittenWhileTheSwitchIsOff) {
  LogCapture capture(false);
  DebugLog("Width", 12LL);
  DebugLog("plain text");
  DebugLogPointer("p", &capture);
  EXPECT_TRUE(capture.lines().empty());
}

TEST(DebugLog, LinesCarryThePrefixAndTheirFormat) {
  LogCapture capture;
  DebugLog("InitImageClassData");
  DebugLog("RowSize", 256LL);
  DebugLog("Channel", "Red");
  DebugLogResult("ftruncate", -1, 28);
  DebugLogUnsigned("Check1 in rbText invalid", 7UL);
  DebugLogArgs("Scale", 1, 2, 3);
  DebugLogArgs("FillRect", 1, -2, 3, 4);
  ASSERT_EQ(capture.lines().size(), 7u);
  EXPECT_EQ(capture.lines()[0], "XQT Debug: InitImageClassData\n");
  EXPECT_EQ(capture.lines()[1], "XQT Debug: RowSize 256\n");
  EXPECT_EQ(capture.lines()[2], "XQT Debug: Channel Red\n");
  EXPECT_EQ(capture.lines()[3], "XQT Debug: ftruncate -1, 28\n");
  EXPECT_EQ(capture.lines()[4], "XQT Debug: Check1 in rbText invalid 7\n");
  EXPECT_EQ(capture.lines()[5], "XQT Debug: Scale 1, 2, 3\n");
  EXPECT_EQ(capture.lines()[6], "XQT Debug: FillRect 1, -2, 3, 4\n");
}

TEST(DebugLog, LongLinesAreCutAt4095Characters) {
  LogCapture capture;
  std::string text(5000, 'x');
  DebugLog(text.c_str());
  ASSERT_EQ(capture.lines().size(), 1u);
  const std::string line = capture.lines()[0];
  EXPECT_EQ(line.size(), 4096u);  // 4095 characters and the newline
  EXPECT_EQ(line.substr(0, 11), "XQT Debug: ");
  EXPECT_EQ(line.back(), '\n');

  std::string exact(4095 - 11, 'y');
  DebugLog(exact.c_str());
  EXPECT_EQ(capture.lines()[1], "XQT Debug: " + exact + "\n");
}

TEST(DebugLog, PropertyAccessorsDriveTheSwitch) {
  LogCapture capture(false);
  setDebugging(2);  // any non-zero byte is true
  EXPECT_EQ(getDebugging(), 1);
  DebugLog("on");
  setDebugging(0);
  EXPECT_EQ(getDebugging(), 0);
  DebugLog("off");
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.lines()[0], "XQT Debug: on\n");
}

}  // namespace

// The debug switch and the shape of debug lines.
#include "plugin/debug_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/log_capture.h"

namespace {

// Each form with its prefix and separators, a long line cut to 4095 characters and the newline;
// the switch (any non-zero byte is true) decides whether anything is written at all.
TEST(DebugLog, LinesCarryThePrefixAndTheirFormatWhileTheSwitchIsOn) {
  LogCapture capture(false);
  DebugLog("Width", 12LL);
  DebugLogPointer("p", &capture);
  setDebugging(2);
  EXPECT_EQ(getDebugging(), 1);
  DebugLog("InitImageClassData");
  DebugLog("RowSize", 256LL);
  DebugLog("Channel", "Red");
  DebugLogResult("ftruncate", -1, 28);
  DebugLogUnsigned("Check1 in rbText invalid", 7UL);
  DebugLogArgs("Scale", 1, 2, 3);
  DebugLogArgs("FillRect", 1, -2, 3, 4);
  const std::string exact(4095 - 11, 'y');
  DebugLog(exact.c_str());
  DebugLog(std::string(5000, 'x').c_str());
  setDebugging(0);
  EXPECT_EQ(getDebugging(), 0);
  DebugLog("off");
  const std::vector<std::string> expected = {"XQT Debug: InitImageClassData\n",
                                             "XQT Debug: RowSize 256\n",
                                             "XQT Debug: Channel Red\n",
                                             "XQT Debug: ftruncate -1, 28\n",
                                             "XQT Debug: Check1 in rbText invalid 7\n",
                                             "XQT Debug: Scale 1, 2, 3\n",
                                             "XQT Debug: FillRect 1, -2, 3, 4\n",
                                             "XQT Debug: " + exact + "\n",
                                             "XQT Debug: " + std::string(4084, 'x') + "\n"};
  EXPECT_EQ(capture.lines(), expected);
}

}  // namespace

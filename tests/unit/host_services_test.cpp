// Host services via the emulated host: exceptions, strings, blocks, arrays, yields, debug lines.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/emulated_host.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"
#include "plugin/host_arrays.h"
#include "plugin/host_strings.h"
#include "plugin/memory_block.h"
#include "plugin/yield.h"
#include "support/log_capture.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::HostException;

struct PendingException {
  std::string className;
  std::string message;
};

class HostServices : public StaticPluginTest {
 protected:
  // Runs `body` as the plug-in would inside a member and returns what it raised, delivered as the
  // host does when the member returns.
  template <class F>
  PendingException Raised(F&& body) {
    try {
      host_.RunAsPluginCall(std::forward<F>(body));
    } catch (const HostException& e) {
      return {e.className(), e.message()};
    }
    return {};
  }
};

TEST_F(HostServices, OutOfBoundsMessages) {
  auto raised = Raised([] { RaiseOutOfBoundsException(-1, 5, "value", "RedOffset"); });
  EXPECT_EQ(raised.className, "OutOfBoundsException");
  EXPECT_EQ(raised.message,
            "The parameter value to method RedOffset is too small. Range is 0 to 4, but value is "
            "-1.");
  raised = Raised([] { RaiseOutOfBoundsException(7, 3, "index", ""); });
  EXPECT_EQ(raised.message, "The parameter index  is too big. Range is 0 to 2, but value is 7.");
  raised = Raised([] { RaiseOutOfBoundsException(0, 0, "index", "ChannelOffset"); });
  EXPECT_EQ(raised.message,
            "The parameter index to method ChannelOffset is too big. Range is 0 to -1, but value "
            "is 0.");
  raised = Raised([] { RaiseOutOfBoundsException(3, 2, nullptr, nullptr); });
  EXPECT_EQ(raised.message, "The parameter ?  is too big. Range is 0 to 1, but value is 3.");
}

// A class the host lacks falls back to RuntimeException; with no exception object at all (the
// class's and the fallback's instances fail) nothing is raised.
TEST_F(HostServices, UnknownExceptionClassFallsBackToRuntimeException) {
  auto raised = Raised([] { RaiseException("NoSuchException", "gone"); });
  EXPECT_EQ(raised.className, "RuntimeException");
  EXPECT_EQ(raised.message, "gone");
  raised = Raised([] { RaiseException("NilObjectException", nullptr); });
  EXPECT_EQ(raised.className, "NilObjectException");
  EXPECT_EQ(raised.message, "");
  host_.FailNextInstances(2);
  EXPECT_EQ(Raised([] { RaiseException("OutOfMemoryException", "no memory"); }).className, "");
}

TEST_F(HostServices, StandardExceptionsBecomeHostExceptions) {
  struct Case {
    std::exception_ptr thrown;
    const char* className;
    const char* message;
  } cases[] = {
      {std::make_exception_ptr(std::bad_alloc()), "OutOfMemoryException",
       "Failed to allocate memory: std::bad_alloc"},
      {std::make_exception_ptr(std::range_error("r")), "OutOfBoundsException",
       "C++ reports range error: r"},
      {std::make_exception_ptr(std::out_of_range("index 9")), "OutOfBoundsException", "index 9"},
      {std::make_exception_ptr(std::overflow_error("o")), "OutOfBoundsException",
       "C++ reports overflow error: o"},
      {std::make_exception_ptr(std::underflow_error("")), "OutOfBoundsException",
       "C++ reports underflow error"},
      {std::make_exception_ptr(std::logic_error("l")), "RuntimeException", "C++ Exception: l"},
      {std::make_exception_ptr(42), "RuntimeException",
       "Sorry, but there was an unnamed C++ Exception."},
  };
  for (const Case& c : cases) {
    auto raised = Raised([&] {
      int result = GuardStandardExceptions(-1, [&]() -> int { std::rethrow_exception(c.thrown); });
      EXPECT_EQ(result, -1);
    });
    EXPECT_EQ(raised.className, c.className);
    EXPECT_EQ(raised.message, c.message);
  }
}

// Bytes become a host string in their encoding, pure ASCII as ASCII; no bytes or too many give
// none, and odd encodings and names that are not ASCII are logged.
TEST_F(HostServices, StringsFromBytes) {
  LogCapture capture;
  REALstring ascii = REALBuildUnicodeString("abc", 3, kREALEncodingMacRoman);
  EXPECT_EQ(host_.Encoding(ascii), kREALEncodingASCII);
  EXPECT_EQ(host_.Utf8(ascii), "abc");
  host_.ReleaseString(ascii);
  REALstring text = REALBuildUnicodeString("caf\xE9", 4, kREALEncodingISOLatin1);
  EXPECT_EQ(host_.Encoding(text), kREALEncodingISOLatin1);
  EXPECT_EQ(host_.Utf8(text), "caf\xC3\xA9");
  host_.ReleaseString(text);
  REALstring wide = REALBuildUnicodeString(u"Gr\u00FC\u00DFe", 10, kREALEncodingUTF16);
  EXPECT_EQ(host_.Utf8(wide), "Gr\xC3\xBC\xC3\x9F\x65");
  host_.ReleaseString(wide);

  EXPECT_EQ(REALBuildUnicodeString(nullptr, 3, kREALEncodingUTF8), nullptr);
  EXPECT_EQ(REALBuildUnicodeString("x", 0, kREALEncodingUTF8), nullptr);
  EXPECT_EQ(REALBuildUnicodeString("x", int64_t{1} << 31, kREALEncodingUTF8), nullptr);
  EXPECT_TRUE(capture.Logged("Count too big for REALBuildUnicodeString."));
  REALstring odd = REALBuildUnicodeString("abc", 3, 0x0A01);
  EXPECT_TRUE(capture.Logged("Unknown encoding in REALBuildUnicodeString 2561"));
  host_.ReleaseString(odd);
  REALstring named = BuildAsciiString("Gr\xC3\xBC\xC3\x9F\x65");
  EXPECT_TRUE(capture.Logged("Error: text is not ascii Gr\xC3\xBC\xC3\x9F\x65"));
  host_.ReleaseString(named);
}

TEST_F(HostServices, ReadingStringsOfEveryEncoding) {
  struct Case {
    std::string bytes;
    uint32_t encoding;
    std::string utf8;
  } cases[] = {
      {"plain", kREALEncodingASCII, "plain"},
      {"caf\xC3\xA9", kREALEncodingUTF8, "caf\xC3\xA9"},
      {"caf\xE9", kREALEncodingWindowsLatin1, "caf\xC3\xA9"},
      {"caf\x8E", kREALEncodingMacRoman, "caf\xC3\xA9"},
      {std::string("c\0a\0f\0\xE9\0", 8), kREALEncodingUTF16, "caf\xC3\xA9"},
  };
  for (const Case& c : cases) {
    REALstring string = host_.NewString(c.bytes, c.encoding);
    {
      rbText text(string);
      EXPECT_EQ(std::string(text.GetUTF8()), c.utf8) << c.encoding;
      EXPECT_EQ(text.GetUTF8Length(), static_cast<int64_t>(c.utf8.size()));
      EXPECT_FALSE(text.Failed());
    }
    host_.ReleaseString(string);
  }
  rbText nil(nullptr);
  EXPECT_STREQ(nil.GetUTF8(), "");
  EXPECT_EQ(host_.LiveStrings(), 0);
}

// Blocks that are made are read through the members that return them (row formats' host test).
TEST_F(HostServices, FailedMemoryBlocksGiveNil) {
  host_.FailNextMemoryBlocks(1);
  EXPECT_EQ(NewMemoryBlock(1000), nullptr);
  host_.FailNextInstances(1);
  EXPECT_EQ(NewMemoryBlock(1000), nullptr);
}

TEST_F(HostServices, IntegerArrays) {
  auto array = host_.NewIntegerArray({5, -6, 7});
  EXPECT_EQ(ArrayCount(array.get()), 3);
  EXPECT_EQ(REALGetArrayInt(array.get(), 1), -6);
  EXPECT_EQ(REALGetArrayInt(nullptr, 0), 0);
  auto raised = Raised([&] { EXPECT_EQ(REALGetArrayInt(array.get(), 3), 0); });
  EXPECT_EQ(raised.message, "The parameter index  is too big. Range is 0 to 2, but value is 3.");
  auto empty = host_.NewIntegerArray({});
  raised = Raised([&] { REALGetArrayInt(empty.get(), 0); });
  EXPECT_EQ(raised.message, "The parameter index  is too big. Range is 0 to -1, but value is 0.");
}

TEST_F(HostServices, MissingEntryPointsMakeServicesDoNothing) {
  host_.HideEntryPoint("PluginNewInstance");
  SetResolver(gResolver);  // forget what was looked up before
  auto raised = Raised([] { RaiseException("RuntimeException", "x"); });
  EXPECT_EQ(raised.className, "");
  EXPECT_EQ(NewMemoryBlock(10), nullptr);
}

// YieldTicks 0 yields at every call; negative ticks are milliseconds, positive ones sixtieths of
// a second, counted from the last yield (LastYield in those units).
TEST_F(HostServices, YieldCadence) {
  ManualClock clock;
  struct Case {
    int64_t ticks, startMs, firstYield, shortMs, lastYield;
  };
  // 60001 ms is tick 3600.06; 98 ms on, tick 3605.94, is short of the six ticks; 2 ms more, tick
  // 3606.06, is not.
  for (const Case& c : {Case{-100, 5000, 5000, 99, 5100}, Case{6, 60001, 3600, 98, 3606}}) {
    YieldData data{0, 0};
    data.YieldTicks = c.ticks;
    ManualClock::SetMilliseconds(c.startMs);
    YieldData::DoYield(&data);
    EXPECT_EQ(data.LastYield, c.firstYield);
    const int64_t before = host_.YieldCount();
    ManualClock::AdvanceMilliseconds(c.shortMs);
    YieldData::DoYield(&data);
    EXPECT_EQ(host_.YieldCount(), before) << c.ticks;
    ManualClock::AdvanceMilliseconds(100 - c.shortMs);
    YieldData::DoYield(&data);
    EXPECT_EQ(host_.YieldCount(), before + 1) << c.ticks;
    EXPECT_EQ(data.LastYield, c.lastYield);
  }
  YieldData every{0, 0};
  const int64_t before = host_.YieldCount();
  for (int i = 0; i < 5; ++i) YieldData::DoYield(&every);
  EXPECT_EQ(host_.YieldCount() - before, 5);
}

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

// Fault injection across every registered member: with the host failing instance creation,
// MemoryBlock construction or picture creation, each member on each kind of image gives its
// refusal (an exception, nil or false) and leaves no host object, interface misuse or descriptor
// behind. Members come from the registered declarations, so members added later are covered.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "reliability/reliability_support.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::ClassInfo;
using xqt::host::Host;
using xqt::host::Ref;
using Value = Host::DynamicValue;

enum class Fault { None, Instances, Blocks, Pictures };
const char* FaultName(Fault f) {
  switch (f) {
    case Fault::None:
      return "none";
    case Fault::Instances:
      return "instances";
    case Fault::Blocks:
      return "memory blocks";
    default:
      return "pictures";
  }
}

// The exceptions the members are allowed to raise.
const std::set<std::string> kSpecifiedExceptions = {
    "OutOfMemoryException",          "NilObjectException",        "RuntimeException",
    "UnsupportedOperationException", "OutOfBoundsException",      "InvalidArgumentException",
    "TypeMismatchException",         "UnsupportedFormatException"};

constexpr int64_t kWidth = 12;
constexpr int64_t kHeight = 9;

class FaultMatrix : public PluginTest {
 protected:
  // Arguments a careful application would pass: images of the instance's size, small rectangles.
  Value Plausible(const xqt::host::Declaration::Param& param, const Ref& partner,
                  std::vector<Ref>& keep) {
    Value v;
    std::string type = Lower(param.type);
    std::string name = Lower(param.name);
    if (type == "integer" || type == "int64" || type == "int32") {
      if (name == "width" || name == "w") {
        v.integer = 6;
      } else if (name == "height" || name == "h") {
        v.integer = 5;
      } else if (name.find("format") != std::string::npos) {
        v.integer = 2;
      } else if (name == "threads") {
        v.integer = 2;
      } else if (name == "index") {
        v.integer = 0;
      } else if (name == "mode") {
        v.integer = 1;
      } else {
        v.integer = 1;
      }
    } else if (type == "color") {
      v.type = Value::Type::Color;
      v.integer = 0x336699;
    } else if (type == "boolean") {
      v.type = Value::Type::Boolean;
    } else if (type == "double") {
      v.type = Value::Type::Double;
      v.real = 1.5;
    } else if (type == "string") {
      v.type = Value::Type::String;
      v.text = "Red";
    } else if (type == "ptr") {
      v.type = Value::Type::Ptr;
    } else if (type == "memoryblock") {
      v.type = Value::Type::Object;
      keep.push_back(host_.NewMemoryBlock(kWidth * 8 * 4));
      v.object = keep.back().get();
    } else if (type == "picture") {
      v.type = Value::Type::Object;
      keep.push_back(host_.NewDesktopPicture(kWidth, kHeight, true));
      v.object = keep.back().get();
    } else if (type == "string()") {
      v.type = Value::Type::Object;
      keep.push_back(host_.NewStringArray({"Red", "Green"}));
      v.object = keep.back().get();
    } else {
      v.type = Value::Type::Object;
      v.object = partner.get();
    }
    return v;
  }

  static std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
  }

  void Arm(Fault fault, int n) {
    switch (fault) {
      case Fault::Instances:
        host_.FailNextInstances(n);
        break;
      case Fault::Blocks:
        host_.FailNextMemoryBlocks(n);
        break;
      case Fault::Pictures:
        host_.FailNextPictures(n);
        break;
      case Fault::None:
        break;
    }
  }
  void Disarm() {
    host_.FailNextInstances(0);
    host_.FailNextMemoryBlocks(0);
    host_.FailNextPictures(0);
  }

  // Images of every storage kind the members meet.
  std::vector<std::pair<std::string, std::function<Ref()>>> Subjects() {
    return {
        {"in memory RGBA", [this] { return NewImage(kWidth, kHeight, 2); }},
        {"in memory gray", [this] { return NewImage(kWidth, kHeight, 11); }},
        {"in memory CMYK", [this] { return NewImage(kWidth, kHeight, 23); }},
        {"file-mapped RGB",
         [this] {
           return host_.New("PictureXQT", kWidth, kHeight, int64_t{1}, int64_t{0}, nullptr);
         }},
        {"mirrored view",
         [this] { return NewImage(kWidth, kHeight, 7).Call<Ref>("MirroredView"); }},
        {"channel view", [this] { return NewImage(kWidth, kHeight, 2).Call<Ref>("RedChannel"); }},
        {"invalid", [this] { return NewImage(0, kHeight, 2); }},
    };
  }

  struct Tally {
    int64_t calls = 0;
    int64_t exceptions = 0;
  };

  // One member, on one subject, under one fault: `n` creations fail (all when large).
  void Run(const ClassInfo::Member& member, bool shared, const std::string& subjectName,
           const std::function<Ref()>& make, Fault fault, int n, Tally& tally) {
    SCOPED_TRACE(member.entry->declaration + std::string(" on ") + subjectName + " failing " +
                 std::to_string(n) + " " + FaultName(fault));
    int64_t descriptors = xqt::reliability::OpenDescriptors();
    {
      Ref self = make();
      Ref partner = make();
      std::vector<Ref> keep;
      std::vector<Value> args;
      for (const auto& param : member.declaration.params) {
        args.push_back(Plausible(param, partner, keep));
      }
      Arm(fault, n);
      Host::DynamicResult result =
          host_.CallDeclared(shared ? nullptr : self.get(), member, args, shared);
      Disarm();
      if (!result.called) return;
      ++tally.calls;
      if (result.value.type == Value::Type::Object && result.value.object != nullptr) {
        Ref::Adopt(result.value.object);
      }
      if (result.raised) {
        ++tally.exceptions;
        EXPECT_EQ(kSpecifiedExceptions.count(result.exceptionClass), 1u)
            << result.exceptionClass << ": " << result.exceptionMessage;
      }
    }
    EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport();
    EXPECT_EQ(host_.LiveStrings(), 0);
    for (const std::string& error : host_.ProtocolErrors()) ADD_FAILURE() << error;
    host_.ClearProtocolErrors();
    EXPECT_EQ(xqt::reliability::OpenDescriptors(), descriptors);
  }

  void RunAll(Fault fault, Tally& tally) {
    const ClassInfo* cls = host_.FindClass("PictureXQT");
    ASSERT_NE(cls, nullptr);
    auto subjects = Subjects();
    for (const auto& member : cls->methods) {
      if (Lower(member.declaration.name) == "constructor") continue;
      for (const auto& [name, make] : subjects) {
        for (int n : {1, 2, 1000}) {
          Run(member, false, name, make, fault, n, tally);
          if (fault == Fault::None) break;
        }
      }
    }
    for (const auto& member : cls->sharedMethods) {
      for (int n : {1, 2, 1000}) Run(member, true, "shared", subjects[0].second, fault, n, tally);
    }
  }

  // Every member under one kind of fault; the call count goes into the test report.
  void ExpectSurvived(Fault fault) {
    Tally tally;
    RunAll(fault, tally);
    EXPECT_GT(tally.calls, 1500);
    RecordProperty("calls", static_cast<int>(tally.calls));
  }
};

TEST_F(FaultMatrix, EveryMemberWithoutFaultsLeavesNothingBehind) {
  Tally tally;
  RunAll(Fault::None, tally);
  EXPECT_GT(tally.calls, 500);
}

TEST_F(FaultMatrix, EveryMemberSurvivesFailingInstanceCreation) {
  ExpectSurvived(Fault::Instances);
}

TEST_F(FaultMatrix, EveryMemberSurvivesFailingMemoryBlocks) { ExpectSurvived(Fault::Blocks); }

TEST_F(FaultMatrix, EveryMemberSurvivesFailingPictures) { ExpectSurvived(Fault::Pictures); }

TEST_F(FaultMatrix, ConstructorsRefuseUnderFaults) {
  // The in-memory constructor names the block it could not get: a twin's storage size.
  int64_t total = NewImage(kWidth, kHeight, 2).Get<int64_t>("TotalSize");
  host_.FailNextMemoryBlocks(1);
  EXPECT_HOST_EXCEPTION(
      "OutOfMemoryException",
      "Failed to allocate " + std::to_string(total) + " bytes of memory for image buffer.",
      NewImage(kWidth, kHeight, 2));
  Disarm();
  host_.FailNextInstances(1);
  EXPECT_ANY_THROW(NewImage(kWidth, kHeight, 2));
  Disarm();
  // A result image the factory cannot make: nil, and the source is untouched.
  Ref image = NewImage(kWidth, kHeight, 2);
  host_.FailNextInstances(1000);
  host_.FailNextMemoryBlocks(1000);
  EXPECT_FALSE(image.Call<Ref>("Clone"));
  Disarm();
  EXPECT_TRUE(image.Get<bool>("Valid"));
}

}  // namespace

// Fault injection across every registered member, found through its declaration: with the host
// failing instances, MemoryBlocks or pictures, each member on each kind of image refuses (an
// exception, nil or false) and leaves no host object, interface misuse or descriptor behind.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
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
using xqt::reliability::Lower;

// The host fails nothing (-1), or instances (0), MemoryBlocks (1) or pictures (2).
enum Fault { kNone = -1, kInstances, kBlocks, kPictures };

// The exceptions the members are allowed to raise.
const std::set<std::string> kAllowedExceptions = {
    "OutOfMemoryException",          "NilObjectException",        "RuntimeException",
    "UnsupportedOperationException", "OutOfBoundsException",      "InvalidArgumentException",
    "TypeMismatchException",         "UnsupportedFormatException"};

constexpr int64_t kWidth = 12, kHeight = 9;

class FaultMatrix : public PluginTest, public testing::WithParamInterface<Fault> {
 protected:
  // Arguments a careful application would pass: images of the instance's size, small rectangles.
  Value Plausible(const xqt::host::Declaration::Param& param, const Ref& partner,
                  std::vector<Ref>& keep) {
    static const std::map<std::string, int64_t> kIntegers = {
        {"width", 6}, {"w", 6}, {"height", 5}, {"h", 5}, {"threads", 2}, {"index", 0}};
    const std::string type = Lower(param.type), name = Lower(param.name);
    Value v;
    if (type == "integer" || type == "int64" || type == "int32") {
      const auto known = kIntegers.find(name);
      v.integer = known != kIntegers.end()                   ? known->second
                  : name.find("format") != std::string::npos ? 2
                                                             : 1;
      return v;
    }
    v.type = type == "color"     ? Value::Type::Color
             : type == "boolean" ? Value::Type::Boolean
             : type == "double"  ? Value::Type::Double
             : type == "string"  ? Value::Type::String
             : type == "ptr"     ? Value::Type::Ptr
                                 : Value::Type::Object;
    v.integer = type == "color" ? 0x336699 : 0;
    v.real = 1.5;
    v.text = "Red";
    v.object = partner.get();
    if (type == "memoryblock") keep.push_back(host_.NewMemoryBlock(kWidth * 8 * 4));
    if (type == "picture") keep.push_back(host_.NewDesktopPicture(kWidth, kHeight, true));
    if (type == "string()") keep.push_back(host_.NewStringArray({"Red", "Green"}));
    if (type == "memoryblock" || type == "picture" || type == "string()")
      v.object = keep.back().get();
    return v;
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

  // One member, on one subject, under one fault: `n` creations fail (all when large). Returns
  // whether the member was called.
  bool Run(const ClassInfo::Member& member, bool shared, const std::string& subjectName,
           const std::function<Ref()>& make, Fault fault, int n) {
    SCOPED_TRACE(member.entry->declaration + std::string(" on ") + subjectName + " failing " +
                 std::to_string(n) + " of kind " + std::to_string(fault));
    const int64_t descriptors = xqt::reliability::OpenDescriptors();
    Host::DynamicResult result;
    {
      Ref self = make();
      Ref partner = make();
      std::vector<Ref> keep;
      std::vector<Value> args;
      for (const auto& param : member.declaration.params) {
        args.push_back(Plausible(param, partner, keep));
      }
      xqt::reliability::ArmFaults(host_, fault, n);
      result = host_.CallDeclared(shared ? nullptr : self.get(), member, args, shared);
      xqt::reliability::ArmFaults(host_, kNone, 0);
      if (result.value.type == Value::Type::Object && result.value.object != nullptr) {
        Ref::Adopt(result.value.object);
      }
    }
    if (result.raised) {
      EXPECT_EQ(kAllowedExceptions.count(result.exceptionClass), 1u)
          << result.exceptionClass << ": " << result.exceptionMessage;
    }
    EXPECT_EQ(xqt::reliability::LeftInHost(host_), "");
    EXPECT_EQ(xqt::reliability::OpenDescriptors(), descriptors);
    return result.called;
  }

  // Every member on every subject under one kind of fault, failing the next one, two or all
  // creations; returns the number of calls made.
  int64_t RunAll(Fault fault) {
    const ClassInfo* cls = host_.FindClass("PictureXQT");
    EXPECT_NE(cls, nullptr);
    if (cls == nullptr) return 0;
    const auto subjects = Subjects();
    const std::vector<int> counts = fault == kNone ? std::vector<int>{0} : std::vector{1, 2, 1000};
    int64_t calls = 0;
    for (const auto& member : cls->methods) {
      if (Lower(member.declaration.name) == "constructor") continue;
      for (const auto& [name, make] : subjects) {
        for (int n : counts) calls += Run(member, false, name, make, fault, n);
      }
    }
    for (const auto& member : cls->sharedMethods) {
      for (int n : counts) calls += Run(member, true, "shared", subjects[0].second, fault, n);
    }
    RecordProperty("calls", static_cast<int>(calls));
    return calls;
  }
};

// Every member on every subject; with faults, each of the three counts of failing creations.
TEST_P(FaultMatrix, EveryMemberRefusesCleanlyAndLeavesNothingBehind) {
  EXPECT_GT(RunAll(GetParam()), GetParam() == kNone ? 500 : 1500);
}
std::string FaultName(const testing::TestParamInfo<Fault>& info) {
  return std::array{"None", "Instances", "Blocks", "Pictures"}[info.param + 1];
}
INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix,
                         testing::Values(kNone, kInstances, kBlocks, kPictures), FaultName);

using FaultRefusals = PluginTest;

TEST_F(FaultRefusals, ConstructorsRefuseUnderFaults) {
  xqt::reliability::ArmFaults(host_, kInstances, 1);
  EXPECT_ANY_THROW(NewImage(kWidth, kHeight, 2));
  // A result image the factory cannot make: nil, and the source is untouched.
  Ref image = NewImage(kWidth, kHeight, 2);
  host_.FailNextInstances(1000);
  host_.FailNextMemoryBlocks(1000);
  EXPECT_FALSE(image.Call<Ref>("Clone"));
  xqt::reliability::ArmFaults(host_, kNone, 0);
  EXPECT_TRUE(image.Get<bool>("Valid"));
}

}  // namespace

// Reliability support: members called from their parsed declarations, and yield timestamps.
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

// One argument of a call made from a declaration at run time, in declaration order.
struct Slot {
  uint64_t bits;  // an integer-class value, or the bits of a double
  bool real;
};

#if defined(_WIN64)
// Windows x64 gives argument i the i-th register of its kind (integer or vector) when i < 4, and
// the i-th stack slot otherwise. Only the first four positions depend on the type, so one pointer
// type per pattern of doubles among them, with every later slot a plain word carrying the value's
// bits, calls every member with that many arguments.
constexpr size_t kMostSlots = 16;
constexpr size_t kRegisterSlots = 4;

template <bool Real>
using SlotType = std::conditional_t<Real, double, uint64_t>;

template <class T>
T SlotValue(uint64_t bits) {
  T value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

template <class R, unsigned Reals>
R CallWithReals(void* function, const uint64_t* w) {
  using A0 = SlotType<(Reals & 1) != 0>;
  using A1 = SlotType<(Reals & 2) != 0>;
  using A2 = SlotType<(Reals & 4) != 0>;
  using A3 = SlotType<(Reals & 8) != 0>;
  using Wide = R (*)(A0, A1, A2, A3, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t,
                     uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);
  return reinterpret_cast<Wide>(function)(
      SlotValue<A0>(w[0]), SlotValue<A1>(w[1]), SlotValue<A2>(w[2]), SlotValue<A3>(w[3]), w[4],
      w[5], w[6], w[7], w[8], w[9], w[10], w[11], w[12], w[13], w[14], w[15]);
}

template <class R, unsigned... Reals>
R CallByPattern(unsigned pattern, void* function, const uint64_t* w,
                std::integer_sequence<unsigned, Reals...>) {
  using Caller = R (*)(void*, const uint64_t*);
  static constexpr Caller kCallers[] = {&CallWithReals<R, Reals>...};
  return kCallers[pattern](function, w);
}

template <class R>
R CallSlots(void* function, const std::vector<Slot>& slots) {
  uint64_t w[kMostSlots] = {};
  unsigned pattern = 0;
  for (size_t i = 0; i < slots.size() && i < kMostSlots; ++i) {
    w[i] = slots[i].bits;
    if (i < kRegisterSlots && slots[i].real) pattern |= 1u << i;
  }
  return CallByPattern<R>(pattern, function, w,
                          std::make_integer_sequence<unsigned, 1u << kRegisterSlots>{});
}

bool Fits(const std::vector<Slot>& slots) { return slots.size() <= kMostSlots; }
#else
// The System V x86-64 convention gives integer-class arguments (integers, booleans, colours,
// pointers, objects, strings) the six integer registers in order, doubles the eight vector
// registers in order, and puts what does not fit on the stack in declaration order. With at most
// eight doubles the stack holds only integer-class arguments, so one pointer type of six integer
// registers, eight doubles and ten stack words calls every member with that many arguments. The
// arm64 convention (eight integer registers, eight vector registers, then the stack in order)
// places the same pointer type's arguments where such a member expects them too.
constexpr size_t kRegisterWords = 6;
constexpr size_t kDoubleRegisters = 8;
constexpr size_t kStackWords = 10;

template <class R>
using Wide = R (*)(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, double, double,
                   double, double, double, double, double, double, uint64_t, uint64_t, uint64_t,
                   uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);

bool Fits(const std::vector<Slot>& slots) {
  size_t reals = 0;
  for (const Slot& slot : slots) reals += slot.real;
  return reals <= kDoubleRegisters && slots.size() - reals <= kRegisterWords + kStackWords;
}

template <class R>
#if defined(__clang__)
__attribute__((no_sanitize("function")))
#endif
R CallSlots(void* function, const std::vector<Slot>& slots) {
  uint64_t w[kRegisterWords + kStackWords] = {};
  double d[kDoubleRegisters] = {};
  size_t words = 0, reals = 0;
  for (const Slot& slot : slots) {
    if (slot.real) {
      std::memcpy(&d[reals++], &slot.bits, 8);
    } else {
      w[words++] = slot.bits;
    }
  }
  return reinterpret_cast<Wide<R>>(function)(w[0], w[1], w[2], w[3], w[4], w[5], d[0], d[1], d[2],
                                             d[3], d[4], d[5], d[6], d[7], w[6], w[7], w[8], w[9],
                                             w[10], w[11], w[12], w[13], w[14], w[15]);
}
#endif

using Type = Host::DynamicValue::Type;

int64_t AsInteger(const Host::DynamicValue& v) {
  switch (v.type) {
    case Type::Double:
      return v.real != v.real ? 0
                              : static_cast<int64_t>(v.real > 9e18    ? 9e18
                                                     : v.real < -9e18 ? -9e18
                                                                      : v.real);
    default:
      return v.integer;
  }
}

}  // namespace

Host::DynamicResult Host::CallDeclared(REALobject self, const ClassInfo::Member& member,
                                       const std::vector<DynamicValue>& args, bool shared) {
  Impl& h = *impl_;
  DynamicResult result;
  const Declaration& d = member.declaration;
  if (member.entry == nullptr || member.entry->function == nullptr) return result;
  TypeRef ret = ClassifyType(d.returnType);
  if (ret.kind == Kind::Unsupported) return result;

  std::vector<Slot> slots;
  std::vector<REALstring> strings;
  auto pushWord = [&](uint64_t w) { slots.push_back({w, false}); };
  if (!shared) pushWord(reinterpret_cast<uint64_t>(self));
  for (size_t i = 0; i < d.params.size(); ++i) {
    TypeRef type = ClassifyType(d.params[i].type);
    DynamicValue v = i < args.size() ? args[i] : DynamicValue{};
    switch (type.kind) {
      case Kind::Integer:
        pushWord(static_cast<uint64_t>(AsInteger(v)));
        break;
      case Kind::Int32:
        pushWord(static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(AsInteger(v)))));
        break;
      case Kind::Boolean:
        pushWord(AsInteger(v) != 0 ? 1u : 0u);
        break;
      case Kind::Color:
        pushWord(static_cast<uint32_t>(AsInteger(v)));
        break;
      case Kind::Double: {
        double real = v.type == Type::Double ? v.real : static_cast<double>(v.integer);
        uint64_t bits;
        std::memcpy(&bits, &real, 8);
        slots.push_back({bits, true});
        break;
      }
      case Kind::String: {
        REALstring s = h.MakeString(v.text, kREALEncodingUTF8);
        strings.push_back(s);
        pushWord(reinterpret_cast<uint64_t>(s));
        break;
      }
      case Kind::Ptr:
        pushWord(reinterpret_cast<uint64_t>(v.pointer));
        break;
      case Kind::Object:
      case Kind::StringArray: {
        REALobject o = v.type == Type::Object ? v.object : nullptr;
        if (o != nullptr) {
          Object* obj = AsObject(o);
          bool fits = h.objects.count(obj) != 0;
          if (fits) {
            const std::string& name = type.className;
            bool array = name.size() > 2 && name.compare(name.size() - 2, 2, "()") == 0;
            if (array && !SameName(name, "Integer()") && !SameName(name, "String()")) {
              fits = h.Derives(obj->cls, "Object()");
            } else {
              fits = h.Derives(obj->cls, name);
            }
          }
          if (!fits) o = nullptr;
        }
        pushWord(reinterpret_cast<uint64_t>(o));
        break;
      }
      default:
        for (REALstring s : strings) h.UnlockString(s);
        return result;
    }
  }
  if (!Fits(slots)) {
    for (REALstring s : strings) h.UnlockString(s);
    return result;
  }

  void* fn = reinterpret_cast<void*>(member.entry->function);
  result.called = true;
  DynamicValue& out = result.value;
  switch (ret.kind) {
    case Kind::None:
      CallSlots<void>(fn, slots);
      break;
    case Kind::Boolean:
      out.type = Type::Boolean;
      out.integer = CallSlots<RBBoolean>(fn, slots) != 0 ? 1 : 0;
      break;
    case Kind::Int32:
      out.integer = CallSlots<int32_t>(fn, slots);
      break;
    case Kind::Integer:
      out.integer = CallSlots<int64_t>(fn, slots);
      break;
    case Kind::Double:
      out.type = Type::Double;
      out.real = CallSlots<double>(fn, slots);
      break;
    case Kind::Color:
      out.type = Type::Color;
      out.integer = CallSlots<uint32_t>(fn, slots);
      break;
    case Kind::Ptr:
      out.type = Type::Ptr;
      out.pointer = CallSlots<void*>(fn, slots);
      break;
    case Kind::String: {
      out.type = Type::String;
      REALstring s = CallSlots<REALstring>(fn, slots);
      if (s != nullptr) {
        std::string text;
        if (h.ToUtf8(s, text)) out.text = text;
        h.UnlockString(s);
      }
      break;
    }
    default: {
      out.type = Type::Object;
      out.object = CallSlots<REALobject>(fn, slots);
      break;
    }
  }
  for (REALstring s : strings) h.UnlockString(s);
  try {
    h.Deliver();
  } catch (const HostException& e) {
    result.raised = true;
    result.exceptionClass = e.className();
    result.exceptionMessage = e.message();
  }
  return result;
}

std::shared_ptr<std::vector<int64_t>> Host::RecordYieldTimes() {
  auto times = std::make_shared<std::vector<int64_t>>();
  OnYield([times] {
    times->push_back(std::chrono::duration_cast<std::chrono::nanoseconds>(
                         std::chrono::steady_clock::now().time_since_epoch())
                         .count());
  });
  return times;
}

}  // namespace xqt::host

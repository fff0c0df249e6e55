// The member templates of the emulated host: calls by name and argument types.
//
// A call turns each C++ argument into the C value it is passed as (integral: int64_t, bool,
// double, Color: uint32_t, strings: a host string, objects: REALobject, pointers: void*), asks the
// host for the one overload whose declaration accepts those values, and calls its function through
// a pointer of exactly the function's C type. An Int32 parameter is the only place where the C
// type depends on the chosen declaration and not on the C++ argument; such calls are expanded for
// up to three integer arguments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace xqt::host {

class Ref;
struct Color;

namespace detail {

// Kinds of values as declarations type them; arguments use Integer for every integral type.
enum class Kind : uint8_t {
  None,  // no value: a method without result; as a wanted result, "anything"
  Integer,
  Int32,
  Boolean,
  Double,
  Color,
  String,
  Ptr,
  Object,
  StringArray,
  Unsupported,
};

struct Arg {
  Kind kind;
  REALobject object;  // objects only: checked against the declared class
};

enum class Lookup : uint8_t { Method, Shared, Setter, Constructor };

// The chosen overload.
struct Target {
  void* function = nullptr;
  uint64_t int32Mask = 0;  // bit i: argument i is passed as int32_t
  Kind result = Kind::None;
};

// Finds the one overload matching the arguments; throws std::logic_error listing the candidates
// when none or several match, HostException(NilObjectException) for a nil instance. A
// Constructor lookup without arguments returns a null function when no constructor fits.
Target Resolve(Lookup lookup, REALobject self, std::string_view className, std::string_view name,
               const Arg* args, size_t count, Kind want);

// Throws a pending host exception as HostException.
void AfterCall();
// Throws std::logic_error for a call the helpers cannot make.
[[noreturn]] void ThrowUsage(const char* why);

REALstring MakeUtf8(std::string_view text);
void ReleaseString(REALstring string);
std::string TakeUtf8(REALstring string);                     // reads and releases
std::vector<std::string> TakeStringArray(REALobject array);  // reads and releases
void Unlock(REALobject object);
REALobject CreateInstance(std::string_view className);

// A property value; strings and objects read carry one reference for the receiver.
struct Value {
  Kind kind = Kind::None;
  int64_t i = 0;
  double d = 0;
  bool b = false;
  uint32_t c = 0;
  void* p = nullptr;
  REALstring s = nullptr;
  REALobject o = nullptr;
};
Value GetProperty(REALobject self, std::string_view className, std::string_view name, Kind want);
void SetProperty(REALobject self, std::string_view className, std::string_view name,
                 const Value& value);

template <class T>
using Bare = std::remove_cvref_t<T>;

template <class T>
inline constexpr bool kIsText =
    std::is_same_v<std::decay_t<T>, const char*> || std::is_same_v<std::decay_t<T>, char*> ||
    std::is_same_v<Bare<T>, std::string> || std::is_same_v<Bare<T>, std::string_view>;

template <class T>
inline constexpr bool kIsObject =
    std::is_same_v<Bare<T>, Ref> || std::is_same_v<Bare<T>, REALobject> ||
    std::is_same_v<Bare<T>, std::nullptr_t>;

template <class T>
inline constexpr bool kIsPtr = std::is_pointer_v<std::decay_t<T>> && !kIsText<T> && !kIsObject<T> &&
                               !std::is_same_v<Bare<T>, REALstring> &&
                               std::is_object_v<std::remove_pointer_t<std::decay_t<T>>>;

template <class T>
inline constexpr bool kIsInteger = std::is_integral_v<Bare<T>> && !std::is_same_v<Bare<T>, bool>;

template <class>
inline constexpr bool kAlwaysFalse = false;

// Host strings made for the arguments of one call, released after it.
class TextArgs {
 public:
  TextArgs() = default;
  TextArgs(const TextArgs&) = delete;
  TextArgs& operator=(const TextArgs&) = delete;
  ~TextArgs() {
    for (REALstring s : made_) ReleaseString(s);
  }
  REALstring Make(std::string_view text) {
    made_.reserve(made_.size() + 1);
    REALstring s = MakeUtf8(text);
    made_.push_back(s);
    return s;
  }

 private:
  std::vector<REALstring> made_;
};

// The C value an argument is passed as.
template <class T>
auto ToC(T&& value, TextArgs& texts) {
  using B = Bare<T>;
  if constexpr (std::is_same_v<B, bool>) {
    return static_cast<RBBoolean>(value ? 1 : 0);
  } else if constexpr (kIsInteger<T>) {
    return static_cast<int64_t>(value);
  } else if constexpr (std::is_floating_point_v<B>) {
    return static_cast<double>(value);
  } else if constexpr (std::is_same_v<B, Color>) {
    return static_cast<uint32_t>(value.value);
  } else if constexpr (std::is_same_v<B, Ref>) {
    return value.get();
  } else if constexpr (std::is_same_v<B, REALobject>) {
    return value;
  } else if constexpr (std::is_same_v<B, std::nullptr_t>) {
    return REALobject{nullptr};
  } else if constexpr (std::is_same_v<B, REALstring>) {
    return value;
  } else if constexpr (kIsText<T>) {
    if constexpr (std::is_array_v<std::remove_reference_t<T>>) {
      return texts.Make(std::string_view(value));
    } else if constexpr (std::is_pointer_v<B>) {
      return texts.Make(value ? std::string_view(value) : std::string_view());
    } else {
      return texts.Make(std::string_view(value));
    }
  } else if constexpr (kIsPtr<T>) {
    return const_cast<void*>(static_cast<const void*>(value));
  } else {
    static_assert(kAlwaysFalse<T>, "this argument type has no host counterpart");
  }
}

template <class V>
constexpr Kind KindOfC() {
  if constexpr (std::is_same_v<V, int64_t>) return Kind::Integer;
  if constexpr (std::is_same_v<V, RBBoolean>) return Kind::Boolean;
  if constexpr (std::is_same_v<V, double>) return Kind::Double;
  if constexpr (std::is_same_v<V, uint32_t>) return Kind::Color;
  if constexpr (std::is_same_v<V, REALstring>) return Kind::String;
  if constexpr (std::is_same_v<V, REALobject>) return Kind::Object;
  if constexpr (std::is_same_v<V, void*>) return Kind::Ptr;
  return Kind::Unsupported;
}

template <class V>
Arg ArgOf(const V& value) {
  if constexpr (std::is_same_v<V, REALobject>) {
    return Arg{Kind::Object, value};
  } else {
    return Arg{KindOfC<V>(), nullptr};
  }
}

// The result kind a C++ return type asks for.
template <class R>
constexpr Kind WantOf() {
  using B = Bare<R>;
  if constexpr (std::is_void_v<B>) {
    return Kind::None;
  } else if constexpr (std::is_same_v<B, bool>) {
    return Kind::Boolean;
  } else if constexpr (kIsInteger<B>) {
    return Kind::Integer;
  } else if constexpr (std::is_floating_point_v<B>) {
    return Kind::Double;
  } else if constexpr (std::is_same_v<B, Color>) {
    return Kind::Color;
  } else if constexpr (std::is_same_v<B, Ref>) {
    return Kind::Object;
  } else if constexpr (std::is_same_v<B, std::string>) {
    return Kind::String;
  } else if constexpr (std::is_same_v<B, std::vector<std::string>>) {
    return Kind::StringArray;
  } else if constexpr (std::is_same_v<B, void*>) {
    return Kind::Ptr;
  } else {
    static_assert(kAlwaysFalse<R>, "this result type has no host counterpart");
  }
}

template <class... T>
struct Types {};
template <class List, class T>
struct AppendType;
template <class... T, class U>
struct AppendType<Types<T...>, U> {
  using type = Types<T..., U>;
};

template <class Tuple>
struct IntegerCount;
template <class... V>
struct IntegerCount<std::tuple<V...>> {
  static constexpr size_t value = (size_t{0} + ... + (std::is_same_v<V, int64_t> ? 1 : 0));
};

template <class Ret, Lookup L, class... C, class Tuple, size_t... I>
Ret CallLeaf(void* function, REALobject self, [[maybe_unused]] Tuple& values, Types<C...>,
             std::index_sequence<I...>) {
  if constexpr (L == Lookup::Shared) {
    return reinterpret_cast<Ret (*)(C...)>(function)(static_cast<C>(std::get<I>(values))...);
  } else {
    return reinterpret_cast<Ret (*)(REALobject, C...)>(function)(
        self, static_cast<C>(std::get<I>(values))...);
  }
}

inline int32_t NarrowInt32(int64_t value) {
  if (value < INT32_MIN || value > INT32_MAX) ThrowUsage("value out of Int32 range");
  return static_cast<int32_t>(value);
}

// Chooses the C type of argument I (int64_t or int32_t for integers) and goes on with the next.
template <class Ret, bool Branch, Lookup L, class Chosen, size_t I, class Tuple>
Ret CallPick(const Target& target, REALobject self, Tuple& values) {
  if constexpr (I == std::tuple_size_v<Tuple>) {
    return CallLeaf<Ret, L>(target.function, self, values, Chosen{}, std::make_index_sequence<I>{});
  } else {
    using E = std::tuple_element_t<I, Tuple>;
    if constexpr (std::is_same_v<E, int64_t>) {
      if (I < 64 && ((target.int32Mask >> I) & 1u) != 0) {
        if constexpr (Branch) {
          NarrowInt32(std::get<I>(values));
          return CallPick<Ret, Branch, L, typename AppendType<Chosen, int32_t>::type, I + 1>(
              target, self, values);
        } else {
          ThrowUsage(
              "Int32 parameters are supported in calls with up to three integer "
              "arguments and a typed result");
        }
      }
    }
    return CallPick<Ret, Branch, L, typename AppendType<Chosen, E>::type, I + 1>(target, self,
                                                                                 values);
  }
}

template <class Ret, bool Branch, Lookup L, class Tuple>
Ret CallC(const Target& target, REALobject self, Tuple& values) {
  constexpr bool kBranch = Branch && IntegerCount<Tuple>::value <= 3;
  return CallPick<Ret, kBranch, L, Types<>, 0>(target, self, values);
}

// Calls the chosen function and turns its result into R; a pending host exception is thrown after
// the call and a result that carries a reference is dropped then.
template <class R, Lookup L, class Tuple>
R CallAndConvert(const Target& target, REALobject self, Tuple& values) {
  using B = Bare<R>;
  if constexpr (std::is_void_v<B>) {
    switch (target.result) {
      case Kind::None:
        CallC<void, true, L>(target, self, values);
        break;
      case Kind::Integer:
        CallC<int64_t, false, L>(target, self, values);
        break;
      case Kind::Int32:
        CallC<int32_t, false, L>(target, self, values);
        break;
      case Kind::Boolean:
        CallC<RBBoolean, false, L>(target, self, values);
        break;
      case Kind::Double:
        CallC<double, false, L>(target, self, values);
        break;
      case Kind::Color:
        CallC<uint32_t, false, L>(target, self, values);
        break;
      case Kind::Ptr:
        CallC<void*, false, L>(target, self, values);
        break;
      case Kind::String:
        ReleaseString(CallC<REALstring, false, L>(target, self, values));
        break;
      case Kind::Object:
      case Kind::StringArray:
        Unlock(CallC<REALobject, false, L>(target, self, values));
        break;
      default:
        ThrowUsage("unsupported result type");
    }
    AfterCall();
  } else if constexpr (std::is_same_v<B, bool>) {
    bool result = CallC<RBBoolean, true, L>(target, self, values) != 0;
    AfterCall();
    return result;
  } else if constexpr (kIsInteger<B>) {
    int64_t result = target.result == Kind::Int32 ? CallC<int32_t, true, L>(target, self, values)
                                                  : CallC<int64_t, true, L>(target, self, values);
    AfterCall();
    return static_cast<B>(result);
  } else if constexpr (std::is_floating_point_v<B>) {
    double result = CallC<double, true, L>(target, self, values);
    AfterCall();
    return static_cast<B>(result);
  } else if constexpr (std::is_same_v<B, Color>) {
    uint32_t result = CallC<uint32_t, true, L>(target, self, values);
    AfterCall();
    return Color{result};
  } else if constexpr (std::is_same_v<B, void*>) {
    void* result = CallC<void*, true, L>(target, self, values);
    AfterCall();
    return result;
  } else if constexpr (std::is_same_v<B, Ref>) {
    Ref result = Ref::Adopt(CallC<REALobject, true, L>(target, self, values));
    AfterCall();
    return result;
  } else if constexpr (std::is_same_v<B, std::string>) {
    REALstring result = CallC<REALstring, true, L>(target, self, values);
    try {
      AfterCall();
    } catch (...) {
      ReleaseString(result);
      throw;
    }
    return TakeUtf8(result);
  } else if constexpr (std::is_same_v<B, std::vector<std::string>>) {
    REALobject result = CallC<REALobject, true, L>(target, self, values);
    try {
      AfterCall();
    } catch (...) {
      Unlock(result);
      throw;
    }
    return TakeStringArray(result);
  }
}

template <class R, Lookup L, class... A>
R Invoke(REALobject self, std::string_view className, std::string_view name, A&&... args) {
  TextArgs texts;
  auto values = std::make_tuple(ToC(std::forward<A>(args), texts)...);
  Arg infos[sizeof...(A) + 1] = {};
  std::apply(
      [&infos](const auto&... v) {
        size_t i = 0;
        ((infos[i++] = ArgOf(v)), ...);
      },
      values);
  Target target = Resolve(L, self, className, name, infos, sizeof...(A), WantOf<R>());
  if constexpr (std::is_void_v<R>) {
    if (target.function == nullptr) return;  // a Constructor lookup that found nothing to call
  }
  return CallAndConvert < R, L == Lookup::Constructor ? Lookup::Method : L > (target, self, values);
}

template <class T>
T GetAs(REALobject self, std::string_view className, std::string_view name) {
  using B = Bare<T>;
  Value v = GetProperty(self, className, name, WantOf<B>());
  if constexpr (std::is_same_v<B, bool>) {
    return v.b;
  } else if constexpr (kIsInteger<B>) {
    return static_cast<B>(v.i);
  } else if constexpr (std::is_floating_point_v<B>) {
    return static_cast<B>(v.d);
  } else if constexpr (std::is_same_v<B, Color>) {
    return Color{v.c};
  } else if constexpr (std::is_same_v<B, void*>) {
    return v.p;
  } else if constexpr (std::is_same_v<B, Ref>) {
    return Ref::Adopt(v.o);
  } else if constexpr (std::is_same_v<B, std::string>) {
    return TakeUtf8(v.s);
  } else {
    static_assert(kAlwaysFalse<T>, "this property type has no host counterpart");
  }
}

template <class T>
void SetFrom(REALobject self, std::string_view className, std::string_view name, T&& value) {
  TextArgs texts;
  auto c = ToC(std::forward<T>(value), texts);
  Value v;
  v.kind = KindOfC<decltype(c)>();
  if constexpr (std::is_same_v<decltype(c), int64_t>) v.i = c;
  if constexpr (std::is_same_v<decltype(c), RBBoolean>) v.b = c != 0;
  if constexpr (std::is_same_v<decltype(c), double>) v.d = c;
  if constexpr (std::is_same_v<decltype(c), uint32_t>) v.c = c;
  if constexpr (std::is_same_v<decltype(c), void*>) v.p = c;
  if constexpr (std::is_same_v<decltype(c), REALstring>) v.s = c;
  if constexpr (std::is_same_v<decltype(c), REALobject>) v.o = c;
  SetProperty(self, className, name, v);
}

}  // namespace detail

template <class R, class... A>
R Ref::Call(std::string_view name, A&&... args) const {
  return detail::Invoke<R, detail::Lookup::Method>(object_, {}, name, std::forward<A>(args)...);
}

template <class V, class... A>
void Ref::Assign(std::string_view name, V&& value, A&&... args) const {
  detail::Invoke<void, detail::Lookup::Setter>(object_, {}, name, std::forward<A>(args)...,
                                               std::forward<V>(value));
}

template <class T>
T Ref::Get(std::string_view property) const {
  return detail::GetAs<T>(object_, {}, property);
}

template <class T>
void Ref::Set(std::string_view property, T&& value) const {
  detail::SetFrom(object_, {}, property, std::forward<T>(value));
}

template <class... A>
Ref Host::New(std::string_view className, A&&... constructorArgs) {
  Ref object = Ref::Adopt(detail::CreateInstance(className));
  detail::Invoke<void, detail::Lookup::Constructor>(object.get(), className, "Constructor",
                                                    std::forward<A>(constructorArgs)...);
  return object;
}

template <class R, class... A>
R Host::CallShared(std::string_view className, std::string_view name, A&&... args) {
  return detail::Invoke<R, detail::Lookup::Shared>(nullptr, className, name,
                                                   std::forward<A>(args)...);
}

template <class T>
T Host::GetShared(std::string_view className, std::string_view property) {
  return detail::GetAs<T>(nullptr, className, property);
}

template <class T>
void Host::SetShared(std::string_view className, std::string_view property, T&& value) {
  detail::SetFrom(nullptr, className, property, std::forward<T>(value));
}

}  // namespace xqt::host

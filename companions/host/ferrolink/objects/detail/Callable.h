#ifndef FERROLINK_HOST_OBJECTS_DETAIL_CALLABLE_H
#define FERROLINK_HOST_OBJECTS_DETAIL_CALLABLE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "ferrolink/objects/Errors.h"
#include "ferrolink/objects/detail/Calls.h"
#include "ferrolink/objects/detail/Convert.h"
#include "ferrolink/objects/detail/ConvertArrays.h"
#include "ferrolink/objects/detail/Reader.h"
#include "ferrolink/objects/detail/Writer.h"

namespace Ferrolink::Objects::detail {

template <class R, class... Parameters>
struct Signature {};

/// The Signature of a function or of an object's only call operator.
template <class F>
struct SignatureOf {};
template <class F>
requires requires {
  &F::operator();
}
struct SignatureOf<F> : SignatureOf<decltype(&F::operator())> {};
template <class R, class... P>
struct SignatureOf<R (*)(P...)> {
  using Type = Signature<R, P...>;
};
template <class R, class... P>
struct SignatureOf<R (*)(P...) noexcept> : SignatureOf<R (*)(P...)> {};
template <class C, class R, class... P>
struct SignatureOf<R (C::*)(P...)> : SignatureOf<R (*)(P...)> {};
template <class C, class R, class... P>
struct SignatureOf<R (C::*)(P...) const> : SignatureOf<R (*)(P...)> {};
template <class C, class R, class... P>
struct SignatureOf<R (C::*)(P...) noexcept> : SignatureOf<R (*)(P...)> {};
template <class C, class R, class... P>
struct SignatureOf<R (C::*)(P...) const noexcept> : SignatureOf<R (*)(P...)> {};

template <class F>
concept IsCallable = requires {
  typename SignatureOf<std::decay_t<F>>::Type;
};

/// As what an argument is kept while the function runs.
template <class P>
struct Kept {
  using Type = std::remove_cvref_t<P>;
};
template <>
struct Kept<std::string_view> {
  using Type = std::string;
};
template <class T>
struct Kept<std::span<const T>> {
  using Type = std::vector<T>;
};
template <class P>
using KeptOf = typename Kept<std::remove_cvref_t<P>>::Type;

/// Hands a kept argument on: moved, unless the function takes it by reference or as a view.
template <class P>
decltype(auto) PassOn(KeptOf<P>& kept) {
  if constexpr (std::is_lvalue_reference_v<P> || !std::is_same_v<KeptOf<P>, std::decay_t<P>>) {
    return (kept);
  } else {
    return std::move(kept);
  }
}

/// Arguments that do not fit the function; its text is for the caller.
class ArgumentMismatch : public ConversionError {
 public:
  explicit ArgumentMismatch(const std::string& text) : ConversionError(text, false) {}
};

/// A C++ function that takes and gives encoded values. Any thread.
class Callable {
 public:
  Callable() = default;
  Callable(const Callable&) = delete;
  Callable& operator=(const Callable&) = delete;
  virtual ~Callable() = default;

  /// Reads `count` values, calls the function, and writes its result; the handles in both are
  /// given. Errors: ArgumentMismatch before the call, then what the function throws.
  virtual void Call(Reader& arguments, std::size_t count, Writer& result) = 0;

  /// In what forms the parameters are wanted.
  [[nodiscard]] virtual std::vector<Want> Wants() const = 0;
};

template <class F, class R, class... P>
class CallableOf final : public Callable {
  static_assert((Readable<KeptOf<P>> && ...),
                "A parameter of the function has no Java type. Parameters are bool, std::int8_t to "
                "std::int64_t, char16_t, float, double, std::string, std::string_view, Object, "
                "std::optional and std::vector of these, std::span<const T> of primitives.");
  static_assert(std::is_void_v<R> || Writable<Argument<R>>,
                "The function's result has no Java type.");

 public:
  template <class Given>
  explicit CallableOf(Given&& function) : m_function(std::forward<Given>(function)) {}

  void Call(Reader& arguments, std::size_t count, Writer& result) override {
    if (count != sizeof...(P)) {
      DropHandles(arguments, count);
      throw ArgumentMismatch("The C++ function takes " + std::to_string(sizeof...(P)) +
                             " parameters: " + Names() + "; it was called with " +
                             std::to_string(count) + ".");
    }
    // Braces read them from left to right.
    [[maybe_unused]] std::size_t index = 0;
    std::tuple<KeptOf<P>...> kept{ReadParameter<P>(arguments, index)...};
    arguments.RequireEnd();
    std::apply([&](auto&... each) { Finish(result, each...); }, kept);
  }

  [[nodiscard]] std::vector<Want> Wants() const override { return {Convert<KeptOf<P>>::kWant...}; }

 private:
  static std::string Names() {
    std::string names;
    ((names += (names.empty() ? "" : ", ") + Convert<KeptOf<P>>::Name()), ...);
    return names.empty() ? "none" : names;
  }

  template <class Parameter>
  static KeptOf<Parameter> ReadParameter(Reader& arguments, std::size_t& index) {
    ++index;
    const Reader before = arguments;
    try {
      return Convert<KeptOf<Parameter>>::Read(arguments);
    } catch (const ConversionError& error) {
      Reader others = before;
      others.Skip([](std::uint64_t) {});  // these are let go already
      DropHandles(others, sizeof...(P) - index);
      throw ArgumentMismatch("Parameter " + std::to_string(index) + " of the C++ function (" +
                             Names() + "): " + error.what());
    }
  }

  void Finish(Writer& result, KeptOf<P>&... kept) {
    if constexpr (std::is_void_v<R>) {
      m_function(PassOn<P>(kept)...);
      result.Write(Tag::Void);
    } else {
      const auto value = m_function(PassOn<P>(kept)...);
      WriteArgument(result, value);
    }
  }

  F m_function;
};

template <class F, class R, class... P>
std::shared_ptr<Callable> MakeCallable(F&& function, Signature<R, P...> /*signature*/) {
  return std::make_shared<CallableOf<std::decay_t<F>, R, P...>>(std::forward<F>(function));
}
template <class F>
std::shared_ptr<Callable> MakeCallable(F&& function) {
  return MakeCallable(std::forward<F>(function), typename SignatureOf<std::decay_t<F>>::Type{});
}

/// The functions of one implementation, by the names of methods; "" is for the only one of a
/// functional interface. Not changed once it was handed to Java.
class FunctionBody {
 public:
  struct Entry {
    std::string name;
    std::shared_ptr<Callable> function;
  };

  FunctionBody() : m_id((std::uint64_t{Module()} << kCountBits) + ++Count()) {}

  /// Unique in the process, and never used again.
  [[nodiscard]] std::uint64_t Id() const noexcept { return m_id; }

  /// A random number that tells this module from others of the process that have this header.
  static std::uint32_t Module() {
    static const std::uint32_t module = std::random_device()();
    return module;
  }

  void Add(std::string name, std::shared_ptr<Callable> function) {
    m_entries.push_back({std::move(name), std::move(function)});
  }

  [[nodiscard]] const std::vector<Entry>& Entries() const noexcept { return m_entries; }
  [[nodiscard]] const std::shared_ptr<Callable>& First() const {
    return m_entries.front().function;
  }

  /// Null if there is none.
  [[nodiscard]] Callable* Find(std::string_view name) const noexcept {
    for (const Entry& entry : m_entries) {
      if (entry.name.empty() || entry.name == name) {
        return entry.function.get();
      }
    }
    return nullptr;
  }

 private:
  // Enough for a million functions a second during 12 days.
  static constexpr unsigned kCountBits = 40;

  static std::atomic<std::uint64_t>& Count() {
    static std::atomic<std::uint64_t> count{0};
    return count;
  }

  const std::uint64_t m_id;
  std::vector<Entry> m_entries;
};

}  // namespace Ferrolink::Objects::detail

#endif

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

/// A result type and parameter types, as a type to dispatch on.
template <class R, class... Parameters>
struct Signature {};

/// The Signature of a function, or of an object with exactly one call operator. Its member Type is
/// missing for all other types, also for templates and overloaded call operators.
/// @code
/// using Type = SignatureOf<int (*)(std::string)>::Type;  // Signature<int, std::string>
/// @endcode
template <class F>
struct SignatureOf {};
template <class F>
requires requires {
  &F::operator();
}
/// A function object: the signature of its call operator.
struct SignatureOf<F> : SignatureOf<decltype(&F::operator())> {};
/// A function. The specialisations below reduce member functions and noexcept to it.
template <class R, class... P>
struct SignatureOf<R (*)(P...)> {
  /// The signature.
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

/// A function or function object whose signature is known.
template <class F>
concept IsCallable = requires {
  typename SignatureOf<std::decay_t<F>>::Type;
};

/// The type in which an argument is stored while the function runs. Views need an owner.
template <class P>
struct Kept {
  /// A value, also for a parameter that is a reference.
  using Type = std::remove_cvref_t<P>;
};
/// A text view of a std::string.
template <>
struct Kept<std::string_view> {
  /// The owner of the text.
  using Type = std::string;
};
/// A view of a std::vector.
template <class T>
struct Kept<std::span<const T>> {
  /// The owner of the elements.
  using Type = std::vector<T>;
};
/// The stored type for a parameter of type P.
template <class P>
using KeptOf = typename Kept<std::remove_cvref_t<P>>::Type;

/// Passes a stored argument to a parameter of type P. Moves it if the parameter is a value of the
/// same type; otherwise the parameter refers to it.
template <class P>
decltype(auto) PassOn(KeptOf<P>& kept) {
  if constexpr (std::is_lvalue_reference_v<P> || !std::is_same_v<KeptOf<P>, std::decay_t<P>>) {
    return (kept);
  } else {
    return std::move(kept);
  }
}

/// The arguments of a call by Java do not fit the C++ function. The function was not called.
class ArgumentMismatch : public ConversionError {
 public:
  /// `text` goes to the Java caller.
  explicit ArgumentMismatch(const std::string& text) : ConversionError(text, false) {}
};

/// A C++ function that takes and returns encoded values. Thread-safe if the function is.
/// @code
/// const auto half = MakeCallable([](int number) { return number / 2; });
/// half->Call(arguments, 1, result);  // Convert<int> reads the argument and writes the result
/// @endcode
class Callable {
 public:
  Callable() = default;
  Callable(const Callable&) = delete;
  Callable& operator=(const Callable&) = delete;
  virtual ~Callable() = default;

  /// Decodes `count` arguments, calls the function, and encodes its result. Takes over the handles
  /// in the arguments, also if it throws. Handles in the result belong to Java.
  ///
  /// Errors: ArgumentMismatch before the call of the function; then whatever the function throws.
  virtual void Call(Reader& arguments, std::size_t count, Writer& result) = 0;

  /// The form in which Java should send each argument, in the order of the parameters.
  [[nodiscard]] virtual std::vector<Want> Wants() const = 0;
};

/// The Callable of one function type. F is the stored function, R its result, P its parameters.
template <class F, class R, class... P>
class CallableOf final : public Callable {
  static_assert((Readable<KeptOf<P>> && ...),
                "A parameter of the function has no Java type. Parameters are bool, std::int8_t to "
                "std::int64_t, char16_t, float, double, std::string, std::string_view, Object, "
                "std::optional and std::vector of these, std::span<const T> of primitives.");
  static_assert(std::is_void_v<R> || Writable<Argument<R>>,
                "The function's result has no Java type.");

 public:
  /// Moves or copies the function.
  template <class Given>
  // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): made from functions only
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
  // The parameter types as a list, for errors.
  static std::string Names() {
    std::string names;
    ((names += (names.empty() ? "" : ", ") + Convert<KeptOf<P>>::Name()), ...);
    return names.empty() ? "none" : names;
  }

  // Reads one argument. If it does not fit, releases the handles in the remaining ones. Reading has
  // released those of the failing one.
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

  // Calls the function and encodes its result.
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

/// Wraps a function whose signature is given.
template <class F, class R, class... P>
std::shared_ptr<Callable> MakeCallable(F&& function, Signature<R, P...> /*signature*/) {
  return std::make_shared<CallableOf<std::decay_t<F>, R, P...>>(std::forward<F>(function));
}
/// Wraps a function. Moves or copies it.
template <class F>
std::shared_ptr<Callable> MakeCallable(F&& function) {
  return MakeCallable(std::forward<F>(function), typename SignatureOf<std::decay_t<F>>::Type{});
}

/// The C++ functions of one implementation of a Java interface, by method name. The empty name
/// stands for every abstract method.
///
/// Thread rule: Add is called before Java knows the body; afterwards it is constant and
/// thread-safe.
/// @code
/// FunctionBody body;
/// body.Add("compare", MakeCallable([](int a, int b) { return b - a; }));
/// Callable* function = body.Find("compare");
/// @endcode
class FunctionBody {
 public:
  /// One named function.
  struct Entry {
    /// The Java method's name, or empty.
    std::string name;
    /// Never null. Several bodies may share it.
    std::shared_ptr<Callable> function;
  };

  /// Chooses the identifier.
  FunctionBody() : m_id((std::uint64_t{Module()} << kCountBits) + ++Count()) {}

  /// The identifier by which Java calls this body. Unique in the process and never reused.
  [[nodiscard]] std::uint64_t Id() const noexcept { return m_id; }

  /// A random number for this module. It distinguishes the module from others of the process that
  /// were compiled with this header, because each of them counts its bodies from 1.
  static std::uint32_t Module() {
    static const std::uint32_t module = std::random_device()();
    return module;
  }

  /// Adds a function. `function` must not be null.
  void Add(std::string name, std::shared_ptr<Callable> function) {
    m_entries.push_back({std::move(name), std::move(function)});
  }

  /// All functions in the order of Add.
  [[nodiscard]] const std::vector<Entry>& Entries() const noexcept { return m_entries; }
  /// The first function. There must be one.
  [[nodiscard]] const std::shared_ptr<Callable>& First() const {
    return m_entries.front().function;
  }

  /// The function for a Java method, owned by this body; null if there is none.
  [[nodiscard]] Callable* Find(std::string_view name) const noexcept {
    for (const Entry& entry : m_entries) {
      if (entry.name.empty() || entry.name == name) {
        return entry.function.get();
      }
    }
    return nullptr;
  }

 private:
  // The lower bits of an identifier are a counter. It suffices for a million functions a second
  // during 12 days.
  static constexpr unsigned kCountBits = 40;

  // The number of bodies that this module has made.
  static std::atomic<std::uint64_t>& Count() {
    static std::atomic<std::uint64_t> count{0};
    return count;
  }

  const std::uint64_t m_id;
  std::vector<Entry> m_entries;
};

}  // namespace Ferrolink::Objects::detail

#endif

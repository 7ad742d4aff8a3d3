#ifndef FERROLINK_HOST_OBJECTS_FUNCTION_H
#define FERROLINK_HOST_OBJECTS_FUNCTION_H

#include <initializer_list>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ferrolink/objects/detail/Callable.h"

namespace Ferrolink::Objects {

/// A C++ function that implements a functional interface of Java.
/// @code
/// Function onEvent([&](Object event) { ... });
/// button.Call("addListener", java.Implement("com.example.Listener", onEvent));
/// button.Call("removeListener", java.Implement("com.example.Listener", onEvent));
/// @endcode
/// Copies share one function. Implement returns the same Java object for the same function as long
/// as Java keeps that object. A listener can therefore be removed again, as above.
///
/// Lifetime: the function is destroyed when neither C++ nor Java refers to it any more. It owns the
/// Objects that it captures. A cycle is never freed: a captured Object that keeps the Java object
/// of this function alive, for example. Thread rule: the function must be thread-safe. Java may
/// call it on several threads at once.
class Function {
 public:
  /// Accepts a lambda, a function, or a function object with exactly one call operator that is not
  /// a template. Moves or copies it. Parameters and result have the types that
  /// Ferrolink::Objects::Java lists; other types do not compile.
  // NOLINTBEGIN(google-explicit-constructor,bugprone-forwarding-reference-overload): constrained
  template <class F>
  requires(detail::IsCallable<F>) Function(F&& function)
      : m_body(std::make_shared<detail::FunctionBody>()) {
    m_body->Add("", detail::MakeCallable(std::forward<F>(function)));
  }
  // NOLINTEND(google-explicit-constructor,bugprone-forwarding-reference-overload)

 private:
  friend class Functions;
  friend class Java;
  std::shared_ptr<detail::FunctionBody> m_body;
};

/// C++ functions that implement an interface of Java, one for each named method.
/// @code
/// Functions comparator{{"compare", [](Object a, Object b) { return 0; }}};
/// Object c = java.Implement("java.util.Comparator", comparator);
/// @endcode
/// Copies share the functions. Lifetime and thread rule: see Function.
class Functions {
 public:
  /// The name of a method, and its function. All overloads of the name call that function.
  using Named = std::pair<std::string, Function>;

  /// One entry for each method that Java may call.
  Functions(std::initializer_list<Named> functions)
      : Functions(functions.begin(), functions.end()) {}
  /// The same from a range of Named, say a vector that is filled at run time.
  template <class Iterator>
  Functions(Iterator first, Iterator last) : m_body(std::make_shared<detail::FunctionBody>()) {
    for (; first != last; ++first) {
      m_body->Add(first->first, first->second.m_body->First());
    }
  }

 private:
  friend class Java;
  std::shared_ptr<detail::FunctionBody> m_body;
};

}  // namespace Ferrolink::Objects

#endif

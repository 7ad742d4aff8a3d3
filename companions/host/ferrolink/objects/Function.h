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

/// A C++ function for a functional interface of Java. Copies are the same function: as long as Java
/// keeps an object that was made of it, Implement with a copy returns that very object, so that a
/// listener can be removed again.
///
///   Function onEvent([&](Object event) { ... });
///   button.Call("addListener", java.Implement("com.example.Listener", onEvent));
///   button.Call("removeListener", java.Implement("com.example.Listener", onEvent));
///
/// The function may be called by many threads at once. An Object that it captures lives as long as
/// the function: if that Object keeps Java's object alive in turn, neither is ever freed.
class Function {
 public:
  /// Of a lambda, function or function object with one call operator that is no template.
  template <class F>
  requires(detail::IsCallable<F>) Function(
      F&& function)  // NOLINT(google-explicit-constructor,bugprone-forwarding-reference-overload)
      : m_body(std::make_shared<detail::FunctionBody>()) {
    m_body->Add("", detail::MakeCallable(std::forward<F>(function)));
  }

 private:
  friend class Functions;
  friend class Java;
  std::shared_ptr<detail::FunctionBody> m_body;
};

/// C++ functions for an interface of Java, by the names of its methods. Copies are the same
/// functions, as copies of a Function are.
///
///   Functions comparator{{"compare", [](Object a, Object b) { return 0; }}};
class Functions {
 public:
  using Named = std::pair<std::string, Function>;

  Functions(std::initializer_list<Named> functions)
      : Functions(functions.begin(), functions.end()) {}
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

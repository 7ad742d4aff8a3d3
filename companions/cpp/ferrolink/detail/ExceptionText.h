#ifndef FERROLINK_CPP_DETAIL_EXCEPTIONTEXT_H
#define FERROLINK_CPP_DETAIL_EXCEPTIONTEXT_H

#include <cxxabi.h>

#include <cstddef>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

/// Exceptions as text for the caller in another runtime.
namespace Ferrolink::Cpp::detail {

/// How many exceptions of one chain are described, and how many bytes of each one's text.
inline constexpr int kMostExceptions = 64;
inline constexpr std::size_t kLongestMessage = 65536;

/// The class as its author wrote it: throw_with_nested's wrapper around it is left out.
inline std::string ClassName(const std::type_info* type) {
  if (type == nullptr) {
    return "Exception of another language";
  }
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), std::free);
  std::string name = demangled != nullptr ? demangled.get() : type->name();
  constexpr std::string_view kWrapper = "std::_Nested_exception<";
  if (name.starts_with(kWrapper) && name.ends_with('>')) {
    name = name.substr(kWrapper.size(), name.size() - kWrapper.size() - 1);
  }
  return name;
}

/// "class: what", and the exception nested in it, null where there is none.
inline std::string DescribeOne(const std::exception_ptr& exception, std::exception_ptr& nested) {
  nested = nullptr;
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& error) {
    if (const auto* outer = dynamic_cast<const std::nested_exception*>(&error)) {
      nested = outer->nested_ptr();
    }
    const char* what = error.what();
    const std::string_view text = what != nullptr ? what : "";
    return ClassName(&typeid(error)) + ": " + std::string(text.substr(0, kLongestMessage)) +
           (text.size() > kLongestMessage ? "..." : "");
  } catch (const std::nested_exception& outer) {
    nested = outer.nested_ptr();
    return ClassName(&typeid(outer)) + " (not a std::exception)";
  } catch (...) {
    return ClassName(abi::__cxa_current_exception_type()) + " (not a std::exception)";
  }
}

/// Inside a handler of `catch (...)`: the exception's class and text, and those of the exceptions
/// nested in it, one "Caused by: " line each. Errors: std::bad_alloc.
inline std::string DescribeCurrentException() {
  std::exception_ptr current = std::current_exception();
  std::string text;
  for (int count = 0; current != nullptr; ++count) {
    if (count == kMostExceptions) {
      return text + "\n... further causes are left out";
    }
    std::exception_ptr nested;
    text += (count == 0 ? "" : "\nCaused by: ") + DescribeOne(current, nested);
    current = nested;
  }
  return text;
}

}  // namespace Ferrolink::Cpp::detail

#endif

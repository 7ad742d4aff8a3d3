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

/// Turns exceptions into text for a caller in another runtime. The text must be made where the
/// exception is caught, because only the code there knows its type.
namespace Ferrolink::Cpp::detail {

/// The maximum number of exceptions of one chain; further ones are left out.
inline constexpr int kMostExceptions = 64;
/// The maximum number of bytes of each message; longer ones are cut.
inline constexpr std::size_t kLongestMessage = 65536;

/// The class name as in C++ source. The wrapper class of std::throw_with_nested is left out. `type`
/// is null for an exception of another language. Errors: std::bad_alloc.
/// @code
/// ClassName(&typeid(error));  // "std::out_of_range"
/// @endcode
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

/// Returns "class: what" for one exception. `nested` becomes the exception nested in it, or null.
/// Errors: std::bad_alloc.
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

/// Returns class and text of the current exception, and one line for each exception nested in it.
/// Must be called inside a catch clause.
/// @code
/// Ledger::BookingError: order 7
/// Caused by: std::out_of_range: map::at
/// @endcode
/// Errors: std::bad_alloc.
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

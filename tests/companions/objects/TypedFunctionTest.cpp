// Java calls typed C++ functions. C++ calls Java through a Caller from within such a function.
#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>

#include <numeric>
#include <sstream>

#include "tests/companions/objects/RealJava.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Objects;
using Ferrolink::Cpp::Registrar;

void RegisterFunctions() {
  const Registrar registrar(CaseNativeDirectory());
  registrar.Register("sum", [](std::span<const double> v) -> double {
    return std::accumulate(v.begin(), v.end(), 0.0);
  });
  registrar.Register("describe",
                     [](bool a, std::int8_t b, char16_t c, std::int64_t d, float e,
                        std::string_view text, std::vector<std::optional<std::string>> names) {
                       std::ostringstream all;
                       all << a << ' ' << int{b} << ' ' << int{c} << ' ' << d << ' ' << e << ' '
                           << text << ' ' << names.size() << ' ' << names.at(0).value_or("null")
                           << ' ' << names.at(1).value_or("null");
                       return all.str();
                     });
  registrar.Register("size-of", [](const Object& list) { return list.Call<int>("size"); });
  registrar.Register("same", [](Object object) { return object; });
  registrar.Register("append", [](const Object& list, const std::string& text) {
    list.Call("add", text);
    return list;
  });
  registrar.Register("fail", [](const std::string& text) { throw std::runtime_error(text); });
}

void ReportLines(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    Report(line);
  }
}

PROCESS_CASE(callTypedFunctions) {
  const Java java = TheJava();
  RegisterFunctions();
  const std::size_t before = java.LiveObjects().handles;
  ReportLines(java.CallStatic<std::string>(TestClass("TypedCalls"), "run"));
  Report(java.LiveObjects().handles == before
             ? "nothing left"
             : std::to_string(java.LiveObjects().handles - before) + " handles left");
}

// Handlers of bytes are unchanged, and distinct from typed functions.
PROCESS_CASE(registerBothForms) {
  const Registrar registrar(CaseNativeDirectory());
  registrar.Register("bytes", [](std::span<const std::uint8_t> bytes) {
    return Ferrolink::Cpp::Bytes(bytes.rbegin(), bytes.rend());
  });
  registrar.Register("typed", [] { return 1; });
  const Ferrolink::Cpp::Caller caller({CaseNativeDirectory(), ""});
  const auto call = [&](const char* name, const Ferrolink::Cpp::Bytes& payload) {
    return caller.Call(Ferrolink::Cpp::Runtime::Cpp, name, payload);
  };
  Report(Ferrolink::Cpp::ToText(call("bytes", {'a', 'b'})));
  const Ferrolink::Cpp::Bytes reply = call("typed", {0xF1, 0});
  Report(reply == Ferrolink::Cpp::Bytes{0xF1, 6, 1, 0, 0, 0} ? "typed" : "other reply");
  Report(ThrownBy([&] { call("typed", {'a'}); }));
}

PROCESS_CASE(callThroughACaller) {
  Ferrolink::Cpp::Caller caller({CaseNativeDirectory(), ""});
  caller.LoadLibrary(Ferrolink::Cpp::Runtime::Jvm, OBJECT_CLASSES_JAR);
  const Java java(caller);
  const Object list = java.New("java.util.ArrayList");
  list.Call("add", 42);
  Report(list.ToString());
  const Object function = java.Implement("java.util.function.IntUnaryOperator",
                                         [&](int value) { return value + list.Call<int>("size"); });
  Report(function.Call<int>("applyAsInt", 41));
  RegisterFunctions();
  ReportLines(java.CallStatic<std::string>(TestClass("TypedCalls"), "run"));
}

const std::vector<std::string>& ExpectedOfTypedCalls() {
  static const std::vector<std::string> expected{
      "6.5",
      "0.0",
      "1 -1 8364 1099511627776 0.5 text 2 a null",
      "3",
      "true",
      "true",
      "[added]",
      "std::runtime_error: on purpose",
      "Functions.sumOfTexts(java.lang.String): Parameter 1 of the C++ function "
      "(std::vector<double>): A value of kind String does not fit "
      "a "
      "C++ std::vector<double>.",
      "Functions.sumOfTwo(double[], int): The C++ function takes 1 parameters: "
      "std::vector<double>; it was called with 2."};
  return expected;
}

using TypedCppFunctions = OnEachJdk;

TEST_P(TypedCppFunctions, JavaCallsThemThroughAnInterface) {
  std::vector<std::string> expected = ExpectedOfTypedCalls();
  expected.emplace_back("nothing left");
  ExpectReport(RunOnJava("callTypedFunctions", GetParam()), expected);
}

TEST_P(TypedCppFunctions, StandBesideFunctionsOfBytes) {
  ExpectReport(RunOnJava("registerBothForms", GetParam()),
               {"ba", "typed",
                "std::invalid_argument: This C++ function has typed parameters. Call it through "
                "Ferrolink.as(...) in Java, or with the encoding of typed calls."});
}

TEST_P(TypedCppFunctions, ACallerMakesTypedCallsAsAHostDoes) {
  std::vector<std::string> expected{"[42]", "42"};
  expected.insert(expected.end(), ExpectedOfTypedCalls().begin(), ExpectedOfTypedCalls().end());
  ExpectReport(RunOnJava("callThroughACaller", GetParam()), expected);
}

INSTANTIATE_TEST_SUITE_P(EachJdk, TypedCppFunctions, testing::ValuesIn(InstalledJdks()));

}  // namespace
}  // namespace Ferrolink::Tests

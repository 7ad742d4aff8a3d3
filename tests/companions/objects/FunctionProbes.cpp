// C++ functions as implementations of Java interfaces, and exceptions in both directions.
#include <atomic>
#include <memory>
#include <stdexcept>

#include "tests/companions/objects/Probe.h"

using namespace Ferrolink::Tests;
using namespace Ferrolink::Objects;

namespace {

const std::string kProbes = TestClass("Probes");

PROBE(ALambdaIsAFunctionalInterface, "1 [3, 2, 1] [a, bb, ccc]") {
  int runs = 0;
  java.Implement("java.lang.Runnable", [&] { ++runs; }).Call("run");
  const Object numbers = java.New("java.util.ArrayList");
  for (const int number : {1, 3, 2}) {
    numbers.Call("add", number);
  }
  numbers.Call("sort", java.Implement("java.util.Comparator", [](int a, int b) { return b - a; }));
  const Object texts = java.CallStatic("java.util.Arrays", "asList", "ccc", "a", "bb");
  texts.Call("sort",
             java.Implement("java.util.Comparator", [](const std::string& a, std::string_view b) {
               return static_cast<int>(a.size()) - static_cast<int>(b.size());
             }));
  return Texts(runs, numbers, texts);
}

PROBE(AMapOfFunctionsAnswersByName, "Hello, C++ Good day, C++") {
  const Object plain = java.Implement(kProbes + ".Greeter", {{"name", [] { return "C++"; }}});
  const Object polite = java.Implement(
      kProbes + ".Greeter",
      {{"name", [] { return "C++"; }}, {"greet", [] { return std::string("Good day, C++"); }}});
  return Texts(java.CallStatic<std::string>(kProbes, "greetingOf", plain),
               java.CallStatic<std::string>(kProbes, "greetingOf", polite));
}

PROBE(ADefaultMethodRunsAsJavas, "Hello, lambda 3") {
  const Object greeter = java.Implement(kProbes + ".Greeter", [] { return "lambda"; });
  const Object reversed =
      java.Implement("java.util.Comparator", [](int a, int b) { return a - b; }).Call("reversed");
  return Texts(greeter.Call<std::string>("greet"), reversed.Call<int>("compare", 2, 5));
}

PROBE(AMethodWithoutFunctionIsUnsupported, "java.lang.UnsupportedOperationException") {
  const Object list = java.Implement("java.util.List", {{"size", [] { return 3; }}});
  if (list.Call<int>("size") != 3) {
    return "wrong size";
  }
  try {
    return list.Call("get", 0).ToString();
  } catch (const JavaException& error) {
    return error.ClassName();
  }
}

PROBE(AnInterfaceWithManyMethodsTakesNoSingleFunction, "refused") {
  try {
    return java.Implement("java.util.List", [] {}).ToString();
  } catch (const ObjectError& error) {
    return error.Why() == ObjectError::Reason::Refused ? "refused" : error.what();
  }
}

PROBE(ArgumentsOfEachKindArrive, "true -1 -2 8364 -3 1099511627776 0.500000 0.250000 text null") {
  std::string seen;
  const Object function = java.Implement(
      kProbes + ".Mixed", [&](bool a, std::int8_t b, std::int16_t c, char16_t d, int e,
                              std::int64_t f, float g, double h, std::string i, Object j) {
        seen = Texts(a, static_cast<int>(b), static_cast<int>(c), static_cast<int>(d), e, f, g, h,
                     i, j);
        return seen;
      });
  const auto returned = java.CallStatic<std::string>(kProbes, "callMixed", function);
  return returned == seen ? seen : "other text returned";
}

PROBE(ResultsAreConvertedToTheMethodsType, "8 java.lang.String") {
  const Object function =
      java.Implement(kProbes + ".Widening", {{"asLong", [](int value) { return value + 1; }},
                                             {"asObject", [](Object value) { return value; }}});
  return java.CallStatic<std::string>(kProbes, "callWidening", function);
}

PROBE(FunctionsTakeAndGiveArrays, "12.000000") {
  const Object function = java.Implement(
      kProbes + ".ArrayFunction",
      [](std::span<const double> values, const std::vector<std::optional<std::string>>& names) {
        std::vector<double> scaled;
        for (const double value : values) {
          scaled.push_back(value * static_cast<double>(names.size()));
        }
        return scaled;
      });
  return Texts(java.CallStatic<double>(kProbes, "callArrays", function));
}

PROBE(AListenerIsTheSameObjectEachTime, "1 true 0 1") {
  const Object source = java.New(kProbes);
  int events = 0;
  const Function onEvent([&] { ++events; });
  source.Call("addListener", java.Implement("java.lang.Runnable", onEvent));
  const int before = source.Call<int>("fire");
  const bool removed =
      source.Call<bool>("removeListener", java.Implement("java.lang.Runnable", onEvent));
  return Texts(before, removed, source.Call<int>("fire"), events);
}

PROBE(AProxyHasIdentityHashAndText, "true false true true true") {
  const Object one = java.Implement("java.lang.Runnable", [] {});
  const Object other = java.Implement("java.lang.Runnable", [] {});
  const Object set = java.New("java.util.HashSet");
  set.Call("add", one);
  return Texts(one.Equals(one), one.Equals(other), set.Call<bool>("contains", one),
               one.HashCode() == java.CallStatic<int>("java.lang.System", "identityHashCode", one),
               one.ToString().starts_with("java.lang.Runnable by C++ function "));
}

PROBE(AFunctionMayNameEqualsHashCodeAndToString, "77 seven true false") {
  const Object object = java.Implement(
      "java.lang.Runnable", {{"run", [] {}},
                             {"equals", [](std::string_view other) { return other == "same"; }},
                             {"hashCode", [] { return 77; }},
                             {"toString", [] { return "seven"; }}});
  return Texts(object.HashCode(), object.ToString(), object.Equals("same"), object.Equals("other"));
}

PROBE(AFunctionMakesCallsWithinACall, "6") {
  const Object list = java.New("java.util.ArrayList");
  for (const int number : {1, 2, 3}) {
    list.Call("add", number);
  }
  const Object sum = java.New("java.util.concurrent.atomic.AtomicInteger");
  list.Call("forEach", java.Implement("java.util.function.Consumer", [&](Object element) {
    sum.Call("addAndGet", element.Call<int>("intValue"));
  }));
  return Texts(sum);
}

PROBE(FunctionsAreCalledOnThreadsOfJava, "true") {
  std::atomic<bool> ran = false;
  const Object thread =
      java.New("java.lang.Thread", java.Implement("java.lang.Runnable", [&] { ran = true; }));
  thread.Call("start");
  thread.Call("join");
  return Texts(ran.load());
}

PROBE(AnExceptionHasClassMessageAndSupertypes,
      "java.io.IOException disk full true true false true") {
  try {
    java.CallStatic(kProbes, "fail");
    return "nothing thrown";
  } catch (const JavaException& e) {
    return Texts(e.ClassName(), e.Message(), e.Is("java.io.IOException"),
                 e.Is("java.io.Serializable"), e.Is("java.lang.RuntimeException"),
                 e.Throwable().Call<std::string>("getMessage") == "disk full");
  }
}

PROBE(AnExceptionHasItsCauses,
      "java.lang.IllegalStateException inner java.lang.RuntimeException [] true") {
  try {
    java.CallStatic(kProbes, "fail");
    return "nothing thrown";
  } catch (const JavaException& e) {
    const std::optional<JavaException> cause = e.Cause();
    const std::optional<JavaException> root = cause ? cause->Cause() : std::nullopt;
    if (!root) {
      return "without cause";
    }
    const std::string what = e.what();
    return Texts(cause->ClassName(), cause->Message(), root->ClassName(),
                 "[" + root->Message() + "]",
                 !root->Cause().has_value() && what.find("disk full") != std::string::npos &&
                     what.find("inner") != std::string::npos);
  }
}

PROBE(AConstructorsExceptionIsARemoteError, "java.io.FileNotFoundException true") {
  try {
    java.New("java.io.FileReader", "/no/such/file");
    return "opened";
  } catch (const Ferrolink::Host::RemoteError& e) {
    const auto& thrown = dynamic_cast<const JavaException&>(e);
    return Texts(thrown.ClassName(), thrown.Is("java.io.IOException"));
  }
}

PROBE(ACppExceptionIsOneOfJavasWithItsText,
      "com.ferrolink.core.objects.FunctionException: std::out_of_range: far away") {
  return java.CallStatic<std::string>(kProbes, "thrownBy", java.Implement("java.lang.Runnable", [] {
    throw std::out_of_range("far away");
  }));
}

PROBE(ACppExceptionPassesThroughJava, "true std::out_of_range: far away") {
  try {
    java.CallStatic(kProbes, "run", java.Implement("java.lang.Runnable", [] {
      throw std::out_of_range("far away");
    }));
    return "nothing thrown";
  } catch (const JavaException& e) {
    return Texts(e.Is("java.lang.RuntimeException"), e.Message());
  }
}

PROBE(AJavaExceptionThatPassesThroughCppIsTheSame, "true java.io.IOException") {
  const Object thrown = java.New("java.lang.IllegalStateException", "x");
  std::string passed = "nothing thrown";
  try {
    java.CallStatic(kProbes, "call", java.Implement("java.util.concurrent.Callable", [&] {
      java.CallStatic(kProbes, "fail");
      return 1;
    }));
  } catch (const JavaException& e) {
    passed = e.ClassName();
  }
  const Object rethrowing = java.Implement("java.lang.Runnable", [&] {
    java.CallStatic("java.lang.invoke.MethodHandles", "throwException",
                    java.GetStatic("java.lang.Void", "TYPE"), thrown.Call("getClass"))
        .Call("invokeWithArguments", std::vector<Object>{thrown});
  });
  return Texts(java.CallStatic<bool>(kProbes, "throwsSame", rethrowing, thrown), passed);
}

PROBE(AFunctionKeepsAndReturnsObjects, "true true") {
  Object kept;
  const Object function = java.Implement("java.util.function.UnaryOperator", [&](Object object) {
    kept = object;
    return object;
  });
  const Object list = java.New("java.util.ArrayList");
  const Object back = function.Call("apply", list);
  list.Call("add", 1);
  return Texts(back.Equals(list), kept.Equals(list));
}

PROBE(AFunctionWithOtherParametersIsTold,
      "The C++ function takes 1 parameters: int; it was called with 2.") {
  try {
    return java.Implement("java.util.Comparator", [](int a) { return a; })
        .Call("compare", 1, 2)
        .ToString();
  } catch (const JavaException& e) {
    return e.Message();
  }
}

PROBE(AScopeReleasesWhatWasMadeInIt, "true true") {
  const std::size_t before = java.LiveObjects().handles;
  Object outlives;
  bool grew = false;
  {
    const Scope scope(java);
    outlives = java.New("java.util.ArrayList");
    for (int count = 0; count < 100; ++count) {
      outlives.Call("add", java.New("java.util.ArrayList"));
    }
    grew = java.LiveObjects().handles >= before + 101;
  }
  return Texts(grew, java.LiveObjects().handles <= before);
}

PROBE(LiveObjectsAreCountedByClass, "3 true true") {
  const Object function = java.Implement("java.lang.Runnable", [] {});
  std::vector<Object> sets;
  for (int count = 0; count < 3; ++count) {
    sets.push_back(java.New("java.util.TreeSet"));
  }
  const Statistics s = java.LiveObjects();
  return Texts(s.handlesByClass.at("java.util.TreeSet"), s.functions > 0, s.members > 0);
}

}  // namespace

// Values, texts, arrays and iteration.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "tests/companions/objects/Probe.h"

using namespace Ferrolink::Tests;
using namespace Ferrolink::Objects;

namespace {

const std::string kProbes = TestClass("Probes");

/// Converts a value to an Object of Java and back.
template <class T>
T Through(const Java& java, const T& value) {
  return java.CallStatic("java.util.Objects", "requireNonNull", value).template As<T>();
}

template <class T>
bool Returns(const Java& java, std::initializer_list<T> values) {
  return std::all_of(values.begin(), values.end(), [&](const T value) {
    const T back = Through(java, value);
    return std::memcmp(&back, &value, sizeof(T)) == 0;  // -0.0 equals 0.0
  });
}

PROBE(EachPrimitiveComesBackAsItWent, "true true true true true true true true") {
  return Texts(Returns<bool>(java, {true, false}), Returns<std::int8_t>(java, {-128, 127}),
               Returns<std::int16_t>(java, {-32768, 32767}),
               Returns<char16_t>(java, {u'\0', u'\u20AC', u'\uFFFF'}),
               Returns<std::int32_t>(java, {std::numeric_limits<std::int32_t>::min(), -1}),
               Returns<std::int64_t>(java, {std::numeric_limits<std::int64_t>::min(), 1L << 62}),
               Returns<float>(java, {std::numeric_limits<float>::denorm_min(), -0.5F}),
               Returns<double>(java, {std::numeric_limits<double>::max(), -0.0}));
}

PROBE(NotANumberStaysOne, "true true") {
  return Texts(std::isnan(Through(java, std::nan(""))), std::isnan(Through(java, std::nanf(""))));
}

PROBE(ATextOfAnyCodePointsComesBack, "true true true 2") {
  using namespace std::string_literals;
  const std::string face = "\xF0\x9F\x98\x80";
  return Texts(Through(java, "gr\xC3\xBC\xC3\x9F "s + face) == "gr\xC3\xBC\xC3\x9F " + face,
               Through(java, "a\0b"s) == "a\0b"s, Through(java, ""s).empty(),
               java.New("java.lang.String", face).Call<int>("length"));
}

PROBE(ALoneSurrogateComesBack, "true true") {
  const auto text = java.CallStatic<std::string>(kProbes, "loneSurrogate");
  return Texts(text ==
                   "a\xED\xA0\x80"
                   "b",
               java.CallStatic<bool>(kProbes, "isLoneSurrogate", text));
}

PROBE(AnEmptyOptionalIsNull, "true false text") {
  const Object map = java.New("java.util.HashMap");
  map.Call("put", "k", std::optional<std::string>("text"));
  map.Call("put", "n", std::optional<std::string>());
  return Texts(map.Call<std::optional<std::string>>("get", "n") == std::nullopt,
               map.Call<std::optional<int>>("get", "none").has_value(),
               map.Call<std::optional<std::string>>("get", "k").value_or("none"));
}

template <class T>
bool ArrayReturns(const Java& java, const std::vector<T>& values) {
  return Through(java, values) == values;
}

PROBE(ArraysOfEachPrimitiveComeBack, "true true true true true true true true true") {
  return Texts(ArrayReturns<bool>(java, {true, false}), ArrayReturns<std::int8_t>(java, {-1, 2}),
               ArrayReturns<std::int16_t>(java, {-1, 2}),
               ArrayReturns<char16_t>(java, {u'a', u'\u20AC'}),
               ArrayReturns<std::int32_t>(java, {-1, 2}),
               ArrayReturns<std::int64_t>(java, {-1, 1L << 40}), ArrayReturns<float>(java, {-0.5F}),
               ArrayReturns<double>(java, {0.25}), ArrayReturns<double>(java, {}));
}

template <class T>
bool LargeArrayReturns(const Java& java) {
  std::vector<T> values(131'072);
  std::iota(values.begin(), values.end(), T(1));
  const auto copy = java.CallStatic<std::vector<T>>("java.util.Arrays", "copyOf", values, 131'000);
  return copy.size() == 131'000 && std::equal(copy.begin(), copy.end(), values.begin());
}

PROBE(LargeArraysOfEachPrimitiveComeBack, "true true true true true true true") {
  return Texts(LargeArrayReturns<std::int8_t>(java), LargeArrayReturns<std::int16_t>(java),
               LargeArrayReturns<char16_t>(java), LargeArrayReturns<std::int32_t>(java),
               LargeArrayReturns<std::int64_t>(java), LargeArrayReturns<float>(java),
               LargeArrayReturns<double>(java));
}

PROBE(ALargeBooleanArrayComesBack, "true") {
  std::vector<bool> values(40'000, false);
  values[39'999] = true;
  return Texts(java.CallStatic<std::vector<bool>>("java.util.Arrays", "copyOf", values, 40'000) ==
               values);
}

PROBE(ALargeArrayIsReadThroughAHandle, "100000 1.500000") {
  const Object array =
      java.CallStatic("java.util.Arrays", "copyOf", std::vector<double>(100'000, 1.5), 100'000);
  const auto values = array.As<std::vector<double>>();
  return Texts(values.size(), values.at(99'999));
}

PROBE(ASpanIsAnArray, "[1, 2]") {
  const std::vector<int> values{1, 2};
  return java.CallStatic<std::string>("java.util.Arrays", "toString", std::span<const int>(values));
}

PROBE(ArraysOfTextsMayHaveNulls, "3 a null 2 x") {
  using Names = std::vector<std::optional<std::string>>;
  const Object names = java.CallStatic("java.util.Arrays", "asList", Names{"a", std::nullopt, "c"});
  const auto back = names.Call("toArray").As<Names>();
  const auto split =
      java.New("java.lang.String", "x,y").Call<std::vector<std::string>>("split", ",");
  return Texts(back.size(), *back.at(0), back.at(1).value_or("null"), split.size(), split.at(0));
}

PROBE(ArraysOfObjectsTravel, "2 [a] 1") {
  const std::vector<Object> objects{java.CallStatic("java.util.Collections", "singletonList", "a"),
                                    Object()};
  const auto back = java.CallStatic<std::vector<Object>>("java.util.Arrays", "copyOf", objects, 2);
  return Texts(back.size(), back.at(0), back.at(1).IsNull() ? 1 : 0);
}

PROBE(ArraysOfArraysTravel, "10 [[D 2 2.500000") {
  const std::vector<std::vector<std::vector<int>>> cube{{{1, 2}, {3}}, {{}, {4}}};
  const std::vector<std::vector<double>> rows{{1.5}, {2.5, 3.5}};
  const Object array = java.CallStatic("java.util.Objects", "requireNonNull", rows);
  const auto back = array.As<std::vector<std::vector<double>>>();
  return Texts(java.CallStatic<int>(kProbes, "sum", cube), array.ClassName(), back.at(1).size(),
               back.at(1).at(0));
}

PROBE(AnArrayOfArraysOfTextsComesBackDeep, "a c") {
  const std::vector<std::vector<std::string>> rows{{"a", "b"}, {"c"}};
  const auto back = Through(java, rows);
  return Texts(back.at(0).at(0), back.at(1).at(0));
}

Object Numbers(const Java& java, int count) {
  const Object list = java.New("java.util.ArrayList");
  for (int number = 0; number < count; ++number) {
    list.Call<void>("add", number);
  }
  return list;
}

PROBE(AListIsIteratedInChunks, "45 45 45 0 4 4 4 4 8 8 8 8 10 10") {
  const Object list = Numbers(java, 10);
  const auto sum = [&](std::size_t chunk) {
    int total = 0;
    for (Object element : list.Iterate(chunk)) {
      total += element.As<int>();
    }
    return total;
  };
  int none = 0;
  for (Object element : java.New("java.util.ArrayList").Iterate()) {
    none += element.As<int>();
  }
  int taken = 0;
  const Object counted = java.Implement(
      "java.util.Iterator",
      {{"hasNext", [&] { return taken < 10; }},
       {"next", [&] { return taken < 10 ? ++taken : throw std::out_of_range("no more"); }}});
  std::string takenAtEach;
  for ([[maybe_unused]] const int element : counted.Iterate<int>(4)) {
    takenAtEach += " " + std::to_string(taken);
  }
  return Texts(sum(1), sum(3), sum(1024), none) + takenAtEach;
}

PROBE(ElementsAreReadAsValues, "45 abc") {
  int sum = 0;
  for (const int number : Numbers(java, 10).Iterate<int>(4)) {
    sum += number;
  }
  std::string all;
  for (const std::string& text :
       java.CallStatic("java.util.Arrays", "asList", "a", "b", "c").Iterate<std::string>()) {
    all += text;
  }
  return Texts(sum, all);
}

PROBE(MapsArraysStreamsAndIteratorsAreIterated, "k=v 3 6 2") {
  const Object map = java.New("java.util.HashMap");
  map.Call("put", "k", "v");
  std::string entries;
  for (const Object& entry : map.Iterate()) {
    entries += entry.ToString();
  }
  int ofArray = 0;
  const Object array = java.CallStatic("java.util.Arrays", "copyOf", std::vector<int>{1, 2}, 2);
  for (const int number : array.Iterate<int>()) {
    ofArray += number;
  }
  int ofStream = 0;
  for (const int number :
       java.CallStatic("java.util.stream.IntStream", "range", 0, 4).Call("boxed").Iterate<int>()) {
    ofStream += number;
  }
  int ofIterator = 0;
  const Object iterator = Numbers(java, 3).Call("iterator");
  iterator.Call("next");
  for (const Object& element : iterator.Iterate()) {
    ofIterator += element.As<int>() > 0 ? 1 : 0;
  }
  return Texts(entries, ofArray, ofStream, ofIterator);
}

PROBE(
    AnIteratorsExceptionComesAfterItsElements,
    "1 java.util.ConcurrentModificationException 3 com.ferrolink.core.objects.FunctionException") {
  const auto ending = [](const Object& iterable, std::size_t chunk, const auto& onElement) {
    int sum = 0;
    try {
      for (const int element : iterable.Iterate<int>(chunk)) {
        sum += element;
        onElement();
      }
    } catch (const JavaException& error) {
      return Texts(sum, error.ClassName());
    }
    return Texts(sum, "without exception");
  };
  const Object list = java.New("java.util.ArrayList");
  list.Call("add", 1);
  int taken = 0;
  const auto next = [&] {
    if (++taken == 3) {
      throw std::out_of_range("third");
    }
    return taken;
  };
  const Object failing = java.Implement("java.util.Iterator",
                                        {{"hasNext", [&] { return taken < 5; }}, {"next", next}});
  return ending(list, 1, [&] { list.Call("add", 2); }) + " " + ending(failing, 10, [] {});
}

PROBE(AListIsAVector, "3 2 a") {
  const auto numbers = Numbers(java, 3).As<std::vector<int>>();
  const auto objects = java.CallStatic<std::vector<Object>>("java.util.Arrays", "asList", "a", "b");
  return Texts(numbers.size(), numbers.at(2), objects.at(0));
}

std::string Misfit(const std::function<void()>& action) {
  try {
    action();
    return "fits";
  } catch (const ConversionError& error) {
    return error.what();
  }
}

PROBE(AValueThatDoesNotFitIsToldByItsClass,
      "An object of class java.util.ArrayList does not fit a C++ int.|"
      "The long 4294967296 does not fit a C++ int.|"
      "A value of kind String does not fit a C++ boolean.|"
      "A value of kind null does not fit a C++ std::string.") {
  return Misfit([&] { java.New("java.util.ArrayList").As<int>(); }) + "|" +
         Misfit([&] { java.CallStatic<int>("java.lang.Long", "valueOf", 1L << 32); }) + "|" +
         Misfit([&] { java.CallStatic<bool>("java.lang.String", "valueOf", 1); }) + "|" +
         Misfit([&] { java.CallStatic<std::string>(kProbes, "nothing"); });
}

}  // namespace

#include <stdexcept>

#include "bench/calljava/Typed.h"

namespace Ferrolink::Bench {
namespace {

using namespace Ferrolink::Objects;

constexpr const char* kString = "java.lang.String";
constexpr const char* kNumbers = "com.ferrolink.bench.Numbers";

}  // namespace

Object TypedOurs::Text(const std::string& text) const {
  // As a value it would become a C++ text again.
  return m_java.New(kString, text);
}

Way TypedOurs::ById(const std::string& work) const {
  if (work == "length") {
    return [length = Method<int()>(m_java, kString, "length"), text = Text(kFirstText)] {
      RequireResult(length(text) == 24);
    };
  }
  if (work == "max") {
    return [max = StaticMethod<int(int, int)>(m_java, "java.lang.Math", "max")] {
      RequireResult(max(3, 4) == 4);
    };
  }
  if (work == "concat") {
    return [concat = Method<std::string(std::string_view)>(m_java, kString, "concat"),
            text = Text(kFirstText)] {
      RequireResult(concat(text, kSecondText).size() == kFirstText.size() + kSecondText.size());
    };
  }
  if (work == "in") {
    return [sum = StaticMethod<double(std::span<const double>)>(m_java, kNumbers, "sum")] {
      RequireResult(sum(ManyNumbers()) > 0);
    };
  }
  if (work == "out") {
    return [many = StaticMethod<std::vector<double>()>(m_java, kNumbers, "many")] {
      const std::vector<double> result = many();
      RequireResult(result.size() == kManyNumbers && result[128] == 128);
    };
  }
  return {};  // constructors have a class and no name
}

Way TypedOurs::ByName(const std::string& work) const {
  const Java java = m_java;
  if (work == "length") {
    return [text = Text(kFirstText)] { RequireResult(text.Call<int>("length") == 24); };
  }
  if (work == "max") {
    return [java] { RequireResult(java.CallStatic<int>("java.lang.Math", "max", 3, 4) == 4); };
  }
  if (work == "concat") {
    return [text = Text(kFirstText)] {
      RequireResult(text.Call<std::string>("concat", kSecondText).size() ==
                    kFirstText.size() + kSecondText.size());
    };
  }
  if (work == "new") {
    return [java] { RequireResult(!java.New("java.util.ArrayList").IsNull()); };
  }
  if (work == "in") {
    return [java] { RequireResult(java.CallStatic<double>(kNumbers, "sum", ManyNumbers()) > 0); };
  }
  return [java] {
    const auto result = java.CallStatic<std::vector<double>>(kNumbers, "many");
    RequireResult(result.size() == kManyNumbers && result[128] == 128);
  };
}

}  // namespace Ferrolink::Bench

// A program as it is written against the documented names and shapes. It must go on to compile.
#include "tests/companions/objects/RealJava.h"

#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wunused-variable"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"

// clang-format off: the lines stand as they are documented.

namespace FerrolinkTest {
namespace {

using namespace Ferrolink::Objects;

PROCESS_CASE(runTheDocumentedLines) {
  Ferrolink::Host::Host& host = TheHost();
  Java java(host);
  Object list = java.New("java.util.ArrayList");
  list.Call("add", 42);
  int n = list.Call<int>("size");
  report(n);
  double m = java.CallStatic<double>("java.lang.Math", "max", 1.0, 2.0);
  report(std::to_string(m));
  int max = java.GetStatic<int>("java.lang.Integer", "MAX_VALUE");
  report(max);
  const auto cls = TestClass("Probes");
  const auto field = "shared";
  const auto value = "changed";
  java.SetStatic(cls, field, value);
  report(java.GetStatic<std::string>(cls, field));
  Object point = java.New("java.awt.Point");
  point.Get<int>("x");
  point.Set("x", 7);
  report(point.Get<int>("x"));
  Object other = java.New("java.util.ArrayList");
  list.ToString();
  list.HashCode();
  list.Equals(other);
  list.InstanceOf("java.util.List");
  list.ClassName();
  list.IsNull();
  report(list.ToString() + " " + std::to_string(list.HashCode()) + " " + list.ClassName());
  for (Object element : list.Iterate(1024))
    report(element.As<int>());
  Object object = java.New("java.lang.String", "axb");
  auto text = object.As<std::string>();
  Method<int(std::string_view)> indexOf(java, "java.lang.String", "indexOf");
  int i = indexOf(text, "x");
  report(i);
  int ran = 0;
  Object r = java.Implement("java.lang.Runnable", [&] { ++ran; });
  r.Call("run");
  report(ran);
  Object c =
      java.Implement("java.util.Comparator", {{"compare", [](Object a, Object b) { return 0; }}});
  report(c.Call<int>("compare", 1, 2));
  {
    Scope scope(java);
    java.New("java.util.ArrayList");
  }
  Object type = java.FindClass("java.lang.String");
  report(type.ToString());
  try {
    java.New("java.io.FileReader", "/no/such/file");
  } catch (const JavaException& e) {
    e.ClassName();
    e.Is("java.io.IOException");
    e.Message();
    e.what();
    std::optional<JavaException> c = e.Cause();
    Object thrown = e.Throwable();
    report(e.ClassName() + (c ? " with" : " without") + " cause, " + thrown.ClassName());
  }
  Statistics s = java.LiveObjects();
  const std::size_t handles = s.handles;
  const std::size_t functions = s.functions;
  const std::size_t members = s.members;
  const std::map<std::string, std::size_t>& byClass = s.handlesByClass;
  report(std::to_string(functions) + " " + std::to_string(byClass.at("java.util.ArrayList")) +
         (handles > 0 && members > 0 ? " counted" : " none"));
}

using ObjectSnippet = OnEachJdk;

TEST_P(ObjectSnippet, TheDocumentedLinesDoWhatTheySay) {
  ExpectReport(RunOnJava("runTheDocumentedLines", GetParam(), "-Djava.awt.headless=true"),
               {"1", "2.000000", "2147483647", "changed", "7", "[42] 73 java.util.ArrayList", "42",
                "1", "1", "0", "class java.lang.String",
                "java.io.FileNotFoundException without cause, java.io.FileNotFoundException",
                "2 2 counted"});
}

INSTANTIATE_TEST_SUITE_P(EachJdk, ObjectSnippet, testing::ValuesIn(installedJdks()));

}  // namespace
}  // namespace FerrolinkTest

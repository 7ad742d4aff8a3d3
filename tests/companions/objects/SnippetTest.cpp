// A program that uses the documented names. It must continue to compile.
#include "tests/companions/objects/RealJava.h"

#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wunused-variable"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Objects;

// clang-format off
PROCESS_CASE(runTheDocumentedLines) {
  Ferrolink::Host::Host& host = TheHost();
  Java java(host);                                              // of a Ferrolink::Host::Host, or of a Ferrolink::Cpp::Caller
  Object list = java.New("java.util.ArrayList");                // constructor by arguments
  list.Call("add", 42);  int n = list.Call<int>("size");        // Call<R = Object>(method, arguments...)
  Report(n);
  double m = java.CallStatic<double>("java.lang.Math", "max", 1.0, 2.0);
  Report(std::to_string(m));
  const auto cls = TestClass("Probes");
  const auto field = "shared";
  const auto value = "changed";
  int max = java.GetStatic<int>("java.lang.Integer", "MAX_VALUE");  java.SetStatic(cls, field, value);
  Report(max);
  Report(java.GetStatic<std::string>(cls, field));
  Object point = java.New(cls);
  point.Get<int>("x");  point.Set("x", 7);
  Report(point.Get<int>("x"));
  Object other = java.New("java.util.ArrayList");
  list.ToString(); list.HashCode(); list.Equals(other); list.InstanceOf("java.util.List"); list.ClassName(); list.IsNull();
  Report(list.ToString() + " " + std::to_string(list.HashCode()) + " " + list.ClassName());
  for (Object element : list.Iterate(1024)) Report(element.As<int>());            // chunks of that many
  {
    Object object = java.New("java.lang.String", "axb");
    auto text = object.As<std::string>();                          // unboxing and conversion, an error where it does not fit
    Method<int(std::string_view)> indexOf(java, "java.lang.String", "indexOf");  int i = indexOf(text, "x");  // resolved once
    Report(i);
  }
  int ran = 0;
  {
    Object r = java.Implement("java.lang.Runnable", [&] { ++ran; });
    r.Call("run");
    Report(ran);
    Object c = java.Implement("java.util.Comparator", {{"compare", [](Object a, Object b) { return 0; }}});
    Report(c.Call<int>("compare", 1, 2));
  }
  { Scope scope(java); java.New("java.util.ArrayList"); }           // releases all handles made within, in one command
  Object type = java.FindClass("java.lang.String");              // its java.lang.Class
  Report(type.ToString());
  try {
    java.New("java.io.FileReader", "/no/such/file");
  }
  catch (const JavaException& e) { e.ClassName(); e.Is("java.io.IOException"); e.Message(); e.what();   // texts; what() has all causes
                                   std::optional<JavaException> c = e.Cause();  Object thrown = e.Throwable();
    Report(e.ClassName() + (c ? " with" : " without") + " cause, " + thrown.ClassName());
  }
  Statistics s = java.LiveObjects();    // s.handles, s.functions, s.members: std::size_t; s.handlesByClass: std::map<std::string, std::size_t>
  static_assert(std::is_same_v<decltype(s.handles), std::size_t>);
  static_assert(std::is_same_v<decltype(s.functions), std::size_t>);
  static_assert(std::is_same_v<decltype(s.members), std::size_t>);
  static_assert(std::is_same_v<decltype(s.handlesByClass), std::map<std::string, std::size_t>>);
  Report(static_cast<long>(s.handlesByClass.at("java.util.ArrayList")));
}
// clang-format on

using ObjectSnippet = OnEachJdk;

TEST_P(ObjectSnippet, TheDocumentedLinesDoWhatTheySay) {
  ExpectReport(RunOnJava("runTheDocumentedLines", GetParam()),
               {"1", "2.000000", "2147483647", "changed", "7", "[42] 73 java.util.ArrayList", "42",
                "1", "1", "0", "class java.lang.String",
                "java.io.FileNotFoundException without cause, java.io.FileNotFoundException", "2"});
}

INSTANTIATE_TEST_SUITE_P(EachJdk, ObjectSnippet, testing::ValuesIn(InstalledJdks()));

}  // namespace
}  // namespace Ferrolink::Tests

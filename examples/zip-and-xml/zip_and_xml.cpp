// Reads the XML files in a ZIP archive with classes of the JDK only, and sorts their elements with
// a C++ function. The example has no Java code of its own.
//
// usage: zip-and-xml ARCHIVE      ends with 0 if the archive was read and the order is right
#include <ferrolink/Host.h>
#include <ferrolink/Objects.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

using namespace Ferrolink::Objects;

namespace {

int HeightOf(const Object& mountain) {
  return std::stoi(mountain.Call<std::string>("getAttribute", "height"));
}

/// A parser of the JDK that reports through C++ functions and reads nothing but what it is given.
Object MakeParser(const Java& java) {
  const Object factory = java.CallStatic("javax.xml.parsers.DocumentBuilderFactory", "newInstance");
  factory.Call("setFeature", "http://apache.org/xml/features/disallow-doctype-decl", true);
  Object parser = factory.Call("newDocumentBuilder");
  const auto refuse = [](Object problem) {
    throw std::runtime_error("line " + std::to_string(problem.Call<int>("getLineNumber")) + ": " +
                             problem.Call<std::string>("getMessage"));
  };
  parser.Call("setErrorHandler",
              java.Implement("org.xml.sax.ErrorHandler",
                             {{"warning", refuse}, {"error", refuse}, {"fatalError", refuse}}));
  return parser;
}

/// The mountains of every XML file in the archive.
Object ReadMountains(const Java& java, const std::string& archive) {
  Object mountains = java.New("java.util.ArrayList");
  const Scope scope(java);  // all that is made on the way goes at its end
  const Object zip = java.New("java.util.zip.ZipFile", archive);
  const Object parser = MakeParser(java);
  for (const Object& entry : zip.Call("stream").Iterate()) {
    std::printf("%s, %d bytes\n", entry.ToString().c_str(), entry.Call<int>("getSize"));
    const Object document = parser.Call("parse", zip.Call("getInputStream", entry));
    const Object nodes = document.Call("getElementsByTagName", "mountain");
    for (int index = 0; index < nodes.Call<int>("getLength"); ++index) {
      mountains.Call("add", nodes.Call("item", index));
    }
  }
  zip.Call("close");
  return mountains;
}

int Run(const std::string& archive) {
  Ferrolink::Host::Host host;
  const Java java(host);
  const Object mountains = ReadMountains(java, archive);
  int compared = 0;
  mountains.Call("sort", java.Implement("java.util.Comparator", [&](Object a, Object b) {
    ++compared;
    return HeightOf(b) - HeightOf(a);
  }));

  bool right = compared > 0;
  int last = 0;
  for (const Object& mountain : mountains.Iterate()) {
    const int height = HeightOf(mountain);
    std::printf("%5d m  %s\n", height, mountain.Call<std::string>("getAttribute", "name").c_str());
    right = right && (last == 0 || height <= last);
    last = height;
  }
  std::printf("Sorted by a C++ function: %s\n", right ? "yes" : "no");
  return right ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s ARCHIVE\n", argv[0]);
    return 2;
  }
  try {
    return Run(argv[1]);
  } catch (const JavaException& thrown) {
    std::fprintf(stderr, "%s: %s\n", thrown.ClassName().c_str(), thrown.Message().c_str());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

// Calls the plug-in in this process, without Java.
#include <ferrolink/Caller.h>
#include <cstdio>

int main() {
  const Ferrolink::Cpp::Caller caller;
  caller.LoadLibrary(Ferrolink::Cpp::Runtime::Cpp, "libreverse.so");
  const auto answer = caller.Call(Ferrolink::Cpp::Runtime::Cpp, "reverse", "C fo rewsna na");
  std::printf("%s\n", Ferrolink::Cpp::ToText(answer).c_str());
}

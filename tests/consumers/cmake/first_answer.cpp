#include <ferrolink/Host.h>
#include <ferrolink/Objects.h>
#include <cstdio>
#include <string>

int main() {
  Ferrolink::Host::Host host;
  Ferrolink::Objects::Java java(host);
  auto text = java.New("java.lang.StringBuilder", "an answer of Java by CMake");
  std::printf("%s\n", text.Call<std::string>("toString").c_str());
}

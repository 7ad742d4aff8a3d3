#include <ferrolink/Host.h>
#include <cstdio>

int main() {
  Ferrolink::Host::Host host;
  const auto answer = host.Call("echo", "an answer of Java by pkg-config");
  std::printf("%s\n", Ferrolink::Host::ToText(answer).c_str());
}

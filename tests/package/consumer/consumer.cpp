#include <ferrolink/Host.h>
#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
  try {
    Ferrolink::Host::Host host;
    const auto answer = host.Call("echo", argc > 1 ? argv[1] : "");
    std::printf("%s\n", Ferrolink::Host::ToText(answer).c_str());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

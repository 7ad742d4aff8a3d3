#include "tests/transport/TransportFixture.h"

#include <dlfcn.h>

#include <fstream>
#include <stdexcept>

namespace FerrolinkTest {

void SiblingTree::addRuntime(const std::string& runtime, const char* fake) {
  addLibrary("libFerrolink" + runtime + "RuntimeNative.so", fake);
}

void SiblingTree::addLibrary(const std::string& fileName, const char* fake) {
  m_tree.addLibrary(fake, fileName);
}

CaseResult SiblingTree::run(const std::string& name, CaseOptions options) {
  options.environment["FAKE_SIBLING_CALLS"] = (m_tree.root() / "calls").string();
  options.environment["FERROLINK_LOGGING_LEVEL"] = "all";
  return runCase(name, m_tree, options);
}

CaseResult SiblingTree::runWithLoader(const std::string& name, CaseOptions options) {
  options.environment["LOADER_CALLS"] = "1";
  return run(name, std::move(options));
}

std::string SiblingTree::calls() const {
  std::string text;
  std::ifstream file(m_tree.root() / "calls");
  for (std::string line; std::getline(file, line);) {
    for (const std::string part : {"libFerrolink", "RuntimeNative.so", ".so"}) {
      if (const auto at = line.find(part); at != std::string::npos) {
        line.erase(at, part.size());
      }
    }
    text += line + "\n";
  }
  return text;
}

void hookSibling(const std::string& fileName, void (*hook)(const char* call)) {
  void* library = dlopen((caseNativeDirectory() / fileName).c_str(), RTLD_NOW | RTLD_NODELETE);
  if (library == nullptr) {
    throw std::runtime_error("cannot open the sibling " + fileName);
  }
  using SetHook = void(void (*)(const char*));
  reinterpret_cast<SetHook*>(dlsym(library, "SetFakeSiblingHook"))(hook);
}

}  // namespace FerrolinkTest

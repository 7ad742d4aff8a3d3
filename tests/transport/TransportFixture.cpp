#include "tests/transport/TransportFixture.h"

#include <dlfcn.h>

#include <fstream>
#include <stdexcept>

namespace Ferrolink::Tests {

void SiblingTree::AddRuntime(const std::string& runtime, const char* fake) {
  AddLibrary("libFerrolink" + runtime + "RuntimeNative.so", fake);
}

void SiblingTree::AddLibrary(const std::string& fileName, const char* fake) {
  m_tree.AddLibrary(fake, fileName);
}

CaseResult SiblingTree::Run(const std::string& name, CaseOptions options) {
  options.environment["FAKE_SIBLING_CALLS"] = (m_tree.Root() / "calls").string();
  options.environment["FERROLINK_LOGGING_LEVEL"] = "all";
  return RunCase(name, m_tree, options);
}

CaseResult SiblingTree::RunWithLoader(const std::string& name, CaseOptions options) {
  options.environment["LOADER_CALLS"] = "1";
  return Run(name, std::move(options));
}

std::string SiblingTree::Calls() const {
  std::string text;
  std::ifstream file(m_tree.Root() / "calls");
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

void HookSibling(const std::string& fileName, void (*hook)(const char* call)) {
  void* library = dlopen((CaseNativeDirectory() / fileName).c_str(), RTLD_NOW | RTLD_NODELETE);
  if (library == nullptr) {
    throw std::runtime_error("cannot open the sibling " + fileName);
  }
  using SetHook = void(void (*)(const char*));
  reinterpret_cast<SetHook*>(dlsym(library, "SetFakeSiblingHook"))(hook);
}

}  // namespace Ferrolink::Tests

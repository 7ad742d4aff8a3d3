// Stands between the library's objects and the dynamic loader: with the variable LOADER_CALLS each
// opening and closing goes to the siblings' file of calls, as "loader: open <file name> <flags>"
// and "loader: close <file name>".
#include <dlfcn.h>
#include <link.h>

#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" {
void* __real_dlopen(const char* path, int flags);
int __real_dlclose(void* library);
void* __wrap_dlopen(const char* path, int flags);
int __wrap_dlclose(void* library);
}

namespace {

void Note(const std::string& call) {
  if (std::getenv("LOADER_CALLS") != nullptr) {
    std::FILE* calls = std::fopen(std::getenv("FAKE_SIBLING_CALLS"), "ae");
    std::fputs(("loader: " + call + "\n").c_str(), calls);
    std::fclose(calls);
  }
}

std::string FileName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

void* __wrap_dlopen(const char* path, int flags) {
  Note("open " + FileName(path) + " " + std::to_string(flags));
  return __real_dlopen(path, flags);
}

int __wrap_dlclose(void* library) {
  link_map* map = nullptr;
  dlinfo(library, RTLD_DI_LINKMAP, &map);
  Note("close " + FileName(map->l_name));
  return __real_dlclose(library);
}

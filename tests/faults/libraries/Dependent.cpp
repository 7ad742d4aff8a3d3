int dependency();

extern "C" __attribute__((visibility("default"))) int NeedsTheDependency() {
  return dependency();
}

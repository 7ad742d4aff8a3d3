int Dependency();

extern "C" __attribute__((visibility("default"))) int NeedsTheDependency() {
  return Dependency();
}

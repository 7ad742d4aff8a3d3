__attribute__((visibility("default"))) int Dependency();
int Dependency() {
  return 1;
}

__attribute__((visibility("default"))) int dependency();
int dependency() {
  return 1;
}

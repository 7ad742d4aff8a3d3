// A library with nothing in it: what the loader alone costs.
extern "C" __attribute__((visibility("default"))) int BenchEmpty() {
  return 0;
}

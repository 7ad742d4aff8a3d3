// An empty library, for the cost of the loader alone.
extern "C" __attribute__((visibility("default"))) int BenchEmpty() {
  return 0;
}

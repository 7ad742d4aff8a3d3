// Options of the sanitizers for a JVM in the process. The JVM is not instrumented: its threads
// synchronise in ways that ThreadSanitizer cannot see, and it never frees its allocations of the
// start. The loader keeps the lists of a library's dependencies in its own memory, which the leak
// check does not read. Nor does it read the list of destructors that a thread keeps in its storage.
// Reports about the library's own code are not affected.

// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizers ask for these names
extern "C" {
const char* __tsan_default_options();
const char* __lsan_default_options();
const char* __lsan_default_suppressions();

__attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "ignore_noninstrumented_modules=1";
}

// The leak check would read thread-local storage that the JVM's threads have given back.
__attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "use_tls=0:print_suppressions=0";
}

__attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libjvm.so\nleak:libjava.so\nleak:libjli.so\nleak:libjimage.so\nleak:libnio.so\n"
         "leak:libzip.so\nleak:_dl_map_object_deps\nleak:__cxa_thread_atexit_impl\n";
}
}
// NOLINTEND(bugprone-reserved-identifier)

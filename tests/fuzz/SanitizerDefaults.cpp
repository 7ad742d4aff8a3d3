// Default options of the sanitizers, so that an input's path is enough to replay it. The
// environment takes precedence.

// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizers ask for these names
extern "C" {
const char* __asan_default_options();
const char* __ubsan_default_options();
const char* __lsan_default_options();
const char* __lsan_default_suppressions();

#if defined(FERROLINK_FUZZ_JVM)
// A JVM handles faults of its own, and does not free memory of its start-up.
__attribute__((visibility("default"))) const char* __asan_default_options() {
  return "handle_segv=0:allow_user_segv_handler=1:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:"
         "detect_leaks=0:quarantine_size_mb=16";
}

__attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libjvm.so\nleak:libjava.so\nleak:libjli.so\nleak:libjimage.so\nleak:libnio.so\n"
         "leak:libzip.so\n";
}

// The leak check would read thread-local storage that a JVM's threads have freed.
__attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "use_tls=0:print_suppressions=0";
}
#else
__attribute__((visibility("default"))) const char* __asan_default_options() {
  return "detect_stack_use_after_return=1:detect_leaks=1:quarantine_size_mb=16";
}

// The leak check must read thread-local storage: it refers to what thread_local objects own.
__attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "use_tls=1:print_suppressions=0";
}
#endif

__attribute__((visibility("default"))) const char* __ubsan_default_options() {
  return "halt_on_error=1:print_stacktrace=1";
}
}
// NOLINTEND(bugprone-reserved-identifier)

#ifndef FERROLINK_CPP_RUNTIME_H
#define FERROLINK_CPP_RUNTIME_H

/* The C interface through which programs and plug-in libraries hand functions to the C++ member of
   the family, libFerrolinkCppRuntimeNative.so, to be called from other runtimes. Plain C, so that
   any compiler's code can register; C++ programs use ferrolink/CppRuntime.h on top of it.

   Nothing is linked: a program opens the library with dlopen and asks FERROLINK_GET_REGISTRAR for
   the table; a plug-in library is given the table.

   Memory: bytes and texts are pointer and length in bytes, need no terminating zero, are copied
   before a function returns and stay their giver's. Nobody frees what another one allocated.
   Threads: every function may be called on any thread at any time, from inside handlers as well.
   Versions: a later version of a struct only adds members at its end. */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define FERROLINK_REGISTRAR_VERSION 1u
#define FERROLINK_LONGEST_NAME 255u

/* Names of the two functions for dlsym. */
#define FERROLINK_GET_REGISTRAR "ferrolink_get_registrar"
#define FERROLINK_REGISTER_HANDLERS "ferrolink_register_handlers"

/* Results of the functions below. */
enum {
  FERROLINK_OK = 0,
  FERROLINK_INVALID_ARGUMENT = 1, /* a null pointer, or a name that is empty or too long */
  FERROLINK_NOT_FOUND = 2,        /* nothing is registered under that name */
  FERROLINK_OUT_OF_MEMORY = 3,
  FERROLINK_TOO_LONG = 4,      /* a reply must stay below 2 GiB */
  FERROLINK_HANDLER_FAILED = 5 /* what a handler returns that has called fail */
};

/* Where a handler puts its answer. Belongs to the library; valid until the handler returns, and on
   the handler's thread only. */
typedef struct ferrolink_reply ferrolink_reply;
struct ferrolink_reply {
  /* Adds bytes to the answer; may be called any number of times. A result other than FERROLINK_OK
     has made the call a failed one already. */
  int32_t (*append)(ferrolink_reply* reply, const uint8_t* bytes, size_t length);
  /* Makes the call a failed one: the caller gets this text (UTF-8) in place of an answer. */
  int32_t (*fail)(ferrolink_reply* reply, const char* text, size_t length);
};

/* A function that answers calls, and the data it needs. */
typedef struct ferrolink_handler {
  /* Answers one call. `payload` is the caller's bytes, never null, valid during the call. Returns
     0; any other value makes the call a failed one. Runs on the caller's thread, on many at once,
     and again on the same thread where it calls out and is called back. One written in C++ may
     throw: the caller gets the exception as text. */
  int32_t (*call)(void* context, const uint8_t* payload, size_t length, ferrolink_reply* reply);
  void* context;
  /* Called once, after the handler was replaced or unregistered and its last running call has
     ended, on the thread that did the last of these; may be null; must not throw. Handlers that are
     registered when the process ends are not released. */
  void (*release)(void* context);
} ferrolink_handler;

/* The table of functions. Lives until the process ends, and so does the library. */
typedef struct ferrolink_registrar {
  uint32_t version; /* FERROLINK_REGISTRAR_VERSION of the library */
  uint32_t size;    /* of this struct in bytes, as the library knows it */
  /* Makes a handler callable under `name`, 1 to 255 bytes of UTF-8. A handler that has the name
     already is replaced: calls that run end undisturbed, later ones reach the new one. The struct
     is copied; `context` is the library's from here on, unless the result is not FERROLINK_OK. */
  int32_t (*register_handler)(const char* name, size_t name_length,
                              const ferrolink_handler* handler);
  int32_t (*unregister_handler)(const char* name, size_t name_length);
} ferrolink_registrar;

/* Exported by the library under FERROLINK_GET_REGISTRAR: the table, or null where the library does
   not know that version (programs ask for FERROLINK_REGISTRAR_VERSION). */
typedef const ferrolink_registrar* (*ferrolink_get_registrar_function)(uint32_t version);

/* The one function that a plug-in library exports. Called on every load-library command that names
   the plug-in, on the commanding thread, possibly on several at once. Returns 0; any other value,
   or an exception, fails the command. Handlers that it has registered by then stay, and the plug-in
   is never closed again. */
typedef int32_t (*ferrolink_register_handlers_function)(const ferrolink_registrar* registrar);

__attribute__((visibility("default"))) int32_t ferrolink_register_handlers(
    const ferrolink_registrar* registrar);

#ifdef __cplusplus
}
#endif

#endif

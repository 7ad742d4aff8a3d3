#ifndef FERROLINK_CPP_RUNTIME_H
#define FERROLINK_CPP_RUNTIME_H

/** @file
    The C interface through which programs and plug-in libraries register functions with the C++
    member, libFerrolinkCppRuntimeNative.so. Other runtimes then call them. It is plain C, so any
    compiler's code can register; C++ programs use ferrolink/CppRuntime.h, which is built on it.

    A plug-in library exports one function:

        static int32_t Echo(void* context, const uint8_t* payload, size_t length,
                            ferrolink_reply* reply) {
          return reply->append(reply, payload, length);
        }
        int32_t ferrolink_register_handlers(const ferrolink_registrar* registrar) {
          const ferrolink_handler handler = {Echo, NULL, NULL};
          return registrar->register_handler("my-echo", 7, &handler);
        }

    A program links nothing: it opens the library with dlopen and asks FERROLINK_GET_REGISTRAR for
    the table.

    Memory: bytes and texts are a pointer and a length in bytes, without a terminating zero. The
    library copies them before a function returns; their owner stays the caller. Nobody frees memory
    of another library.
    Threads: every function is thread-safe, also inside handlers.
    Versions: later versions of a struct only add members at its end. */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The version of ferrolink_registrar in this header. */
#define FERROLINK_REGISTRAR_VERSION 1u
/** The longest name of a handler, in bytes. */
#define FERROLINK_LONGEST_NAME 255u

/** The name for dlsym of a ferrolink_get_registrar_function, which the library exports. */
#define FERROLINK_GET_REGISTRAR "ferrolink_get_registrar"
/** The name for dlsym of a ferrolink_register_handlers_function, which a plug-in exports. */
#define FERROLINK_REGISTER_HANDLERS "ferrolink_register_handlers"

/** Results of the functions below. */
enum {
  FERROLINK_OK = 0,               /**< success */
  FERROLINK_INVALID_ARGUMENT = 1, /**< a null pointer, or a name that is empty or too long */
  FERROLINK_NOT_FOUND = 2,        /**< no handler has that name */
  FERROLINK_OUT_OF_MEMORY = 3,    /**< nothing has changed */
  FERROLINK_TOO_LONG = 4,         /**< a reply must be shorter than 2 GiB */
  FERROLINK_HANDLER_FAILED = 5    /**< for handlers: returned after a call of fail */
};

/** See the struct. */
typedef struct ferrolink_reply ferrolink_reply;

/** The answer of a handler, owned by the library. Valid until the handler returns, on the handler's
    thread only.

    @code
    if (length > LIMIT) {
      reply->fail(reply, "too long", 8);
      return FERROLINK_HANDLER_FAILED;
    }
    return reply->append(reply, payload, length);
    @endcode */
struct ferrolink_reply {
  /** Appends bytes to the answer. May be called any number of times. If the result is not
      FERROLINK_OK, the call has failed. */
  int32_t (*append)(ferrolink_reply* reply, const uint8_t* bytes, size_t length);
  /** Makes the call fail: the caller gets this text (UTF-8) instead of the answer. */
  int32_t (*fail)(ferrolink_reply* reply, const char* text, size_t length);
};

/** A function that answers calls, and its data. */
typedef struct ferrolink_handler {
  /** Answers one call. `payload` is the caller's bytes, never null, valid during the call. Returns
      0; any other result makes the call fail. Must be thread-safe: it runs on the threads of its
      callers. It is called again on the same thread if it calls out and is called back. If it is
      written in C++, it may throw; the caller gets the exception as text. */
  int32_t (*call)(void* context, const uint8_t* payload, size_t length, ferrolink_reply* reply);
  /** The first parameter of the functions; any value. */
  void* context;
  /** Called once, after the handler was replaced or unregistered and its last call has ended, on an
      unspecified thread. May be null. Must not throw. Handlers that are registered at the end of
      the process are not released. */
  void (*release)(void* context);
} ferrolink_handler;

/** The table of functions. The table and the library live until the process ends. */
typedef struct ferrolink_registrar {
  uint32_t version; /**< FERROLINK_REGISTRAR_VERSION of the library */
  uint32_t size;    /**< the size of this struct in the library, in bytes */
  /** Makes a handler callable under `name`, 1 to 255 bytes of UTF-8. Replaces a handler of the same
      name: running calls complete, later ones reach the new handler. Copies the struct. If the
      result is FERROLINK_OK, the library owns `context`. */
  int32_t (*register_handler)(const char* name, size_t name_length,
                              const ferrolink_handler* handler);
  /** Unregisters a handler; running calls complete. */
  int32_t (*unregister_handler)(const char* name, size_t name_length);
} ferrolink_registrar;

/** Returns the table, or null if the library does not know that version. Programs ask for
    FERROLINK_REGISTRAR_VERSION. */
typedef const ferrolink_registrar* (*ferrolink_get_registrar_function)(uint32_t version);

/** Registers the handlers of a plug-in library. Called by each load-library command that names the
    plug-in, on the thread of the command, so it must be idempotent and thread-safe. Returns 0. Any
    other result, or an exception, makes the command fail; handlers that are registered by then
    stay. The plug-in is never closed. */
typedef int32_t (*ferrolink_register_handlers_function)(const ferrolink_registrar* registrar);

/** The one function that a plug-in library exports. */
__attribute__((visibility("default"))) int32_t ferrolink_register_handlers(
    const ferrolink_registrar* registrar);

#ifdef __cplusplus
}
#endif

#endif

#ifndef FERROLINK_BENCH_CALLJAVA_HANDWRITTEN_H
#define FERROLINK_BENCH_CALLJAVA_HANDWRITTEN_H

#include <jni.h>

#include <cstdint>
#include <vector>

namespace Ferrolink::Bench {

/// The state that hand-written JNI keeps between calls.
struct JavaMethod {
  JavaVM* vm = nullptr;
  jclass receiver = nullptr;  ///< a global reference
  jmethodID sendCommand = nullptr;
};
/// The receiver's, for any thread.
JavaMethod FindReceiver(JavaVM* vm);
/// A static method that takes a byte[] and returns one.
JavaMethod FindMethod(JNIEnv* env, const char* className, const char* name);

/// The least that JNI can do: a new array per call, one copy in, one copy out. The caller holds an
/// environment of the thread. Only exceptions of the method are checked. The answer is copied
/// straight into the caller's buffer.
///
/// Returns the answer's length; 0 if Java threw.
int CallWithFloor(JNIEnv* env, const JavaMethod& method, const std::uint8_t* message, int length,
                  std::uint8_t* answer);

/// Exactly the JNI calls of the library for a command (SendCommand, then ReadResponse), in its
/// order, and its two copies of the answer; without its locks and its table of responses. `waiting`
/// holds the answer; its memory is reused.
int CallWithSameSequence(const JavaMethod& method, const std::uint8_t* message, int length,
                         std::uint8_t* answer, std::vector<std::uint8_t>& waiting);

/// The same, with one lock of the process around creating and filling the command's array, as in
/// the library. It is the library's own lock type.
int CallWithOneLock(const JavaMethod& method, const std::uint8_t* message, int length,
                    std::uint8_t* answer, std::vector<std::uint8_t>& waiting);

}  // namespace Ferrolink::Bench

#endif

#ifndef FERROLINK_BENCH_CALLJAVA_HANDWRITTEN_H
#define FERROLINK_BENCH_CALLJAVA_HANDWRITTEN_H

#include <jni.h>

#include <cstdint>
#include <vector>

namespace Ferrolink::Bench {

/// What hand-written JNI keeps between calls.
struct JavaMethod {
  JavaVM* vm = nullptr;
  jclass receiver = nullptr;  ///< a global reference
  jmethodID sendCommand = nullptr;
};
JavaMethod FindReceiver(JavaVM* vm);

/// The least that JNI can do: an array made for each call, one copy in, one copy out. Whoever
/// writes this holds an environment of the thread, trusts that nothing fails but the method itself,
/// and copies straight into the caller's buffer.
///
/// Returns the answer's length; 0 where Java threw.
int CallWithFloor(JNIEnv* env, const JavaMethod& method, const std::uint8_t* message, int length,
                  std::uint8_t* answer);

/// The JNI calls that the library makes for a command (SendCommand, then ReadResponse), all of them
/// and in that order, and its two copies of the answer; without its locks and its table of
/// responses. The answer waits in `waiting`, whose memory is kept between calls.
int CallWithSameSequence(const JavaMethod& method, const std::uint8_t* message, int length,
                         std::uint8_t* answer, std::vector<std::uint8_t>& waiting);

/// The same, and the command's array is made and filled under one lock of the process, as the
/// library does it, with the library's own lock.
int CallWithOneLock(const JavaMethod& method, const std::uint8_t* message, int length,
                    std::uint8_t* answer, std::vector<std::uint8_t>& waiting);

}  // namespace Ferrolink::Bench

#endif

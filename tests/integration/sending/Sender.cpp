// The native half of com.ferrolink.test.Sender.
#include <dlfcn.h>
#include <jni.h>

#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "native/interfaces/IReceiver.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Ferrolink::Native::Interfaces::IReceiver;

IReceiver& Receiver() {
  void* member = dlopen(std::getenv("SENDER_MEMBER"), RTLD_NOW);
  return *reinterpret_cast<IReceiver* (*)()>(dlsym(member, "GetReceiver"))();
}

std::string Echo(const Bytes& payload) {
  Bytes command = {2, 0, 0, 0, 0, 0, 0, 0, 0, 8, 2, 4, 'e', 'c', 'h', 'o'};
  command.insert(command.end(), payload.begin(), payload.end());
  try {
    const int length = Receiver().SendCommand(command.data(), static_cast<int>(command.size()));
    Bytes answer(static_cast<std::size_t>(length));
    Receiver().ReadResponse(answer.data(), length);
    return {answer.begin() + 11, answer.end()};
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

extern "C" JNIEXPORT jbyteArray JNICALL Java_com_ferrolink_test_Sender_send(JNIEnv* env,
                                                                            jclass /*self*/,
                                                                            jbyteArray payload) {
  Bytes bytes(static_cast<std::size_t>(env->GetArrayLength(payload)));
  env->GetByteArrayRegion(payload, 0, static_cast<jsize>(bytes.size()),
                          reinterpret_cast<jbyte*>(bytes.data()));
  const std::string answer = Echo(bytes);
  const auto length = static_cast<jsize>(answer.size());
  jbyteArray array = env->NewByteArray(length);
  env->SetByteArrayRegion(array, 0, length, reinterpret_cast<const jbyte*>(answer.data()));
  return array;
}

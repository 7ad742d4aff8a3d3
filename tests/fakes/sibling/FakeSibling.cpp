// A native library of another runtime, and both network client libraries, in one. Every call is
// appended to the file named by FAKE_SIBLING_CALLS as "<library's file name>: <call>". Steered by
// variables that name the library's file:
//   FAKE_SIBLING_NULL_RECEIVER, FAKE_SIBLING_NULL_TRANSMITTER, FAKE_SIBLING_NULL_CHANNEL
//   FAKE_SIBLING_THROW           whose objects throw std::runtime_error("<operation> failed")
// FAKE_SIBLING_THROW_IN limits the throwing to one operation, FAKE_SIBLING_THROW_TEXT is the text
// that is thrown instead, and with FAKE_SIBLING_THROW_NUMBER that number is thrown as an int. A
// host in the same process may have itself called back, see SetFakeSiblingHook, or already while
// the library is opened: FAKE_SIBLING_INITIALIZER is the address of a function (decimal) that its
// static initialiser calls, FAKE_SIBLING_INITIALIZED the library that does so. A receiver fills
// the buffers that it is asked to read into with 0x5A, a channel with its port's low byte. Built
// with FAKE_SIBLING_EMPTY it exports none of the three, with FAKE_SIBLING_NO_TRANSMITTER no
// CreateTransmitter.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/ITransport.h"

namespace {

using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;
using Ferrolink::Native::Interfaces::ITransport;

using Hook = void(const char* call);
Hook* hook = nullptr;

void Anchor() {}

// Letter by letter: the loader wrote the path under a lock of its own, which ThreadSanitizer does
// not see.
__attribute__((no_sanitize("thread"))) std::string OwnName() {
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(&Anchor), &info);
  std::string name;
  for (const char* letter = info.dli_fname; *letter != '\0'; ++letter) {
    if (*letter == '/') {
      name.clear();
    } else {
      name.push_back(*letter);
    }
  }
  return name;
}

bool Named(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && OwnName() == value;
}

void Note(const std::string& call) {
  if (const char* file = std::getenv("FAKE_SIBLING_CALLS")) {
    std::FILE* calls = std::fopen(file, "ae");
    std::fputs((OwnName() + ": " + call + "\n").c_str(), calls);
    std::fclose(calls);
  }
  if (hook != nullptr) {
    hook(call.c_str());
  }
}

[[maybe_unused]] const bool initialized = [] {
  const char* address = std::getenv("FAKE_SIBLING_INITIALIZER");
  if (address != nullptr && Named("FAKE_SIBLING_INITIALIZED")) {
    reinterpret_cast<void (*)()>(std::strtoull(address, nullptr, 10))();
  }
  return true;
}();

template <class... Values>
std::string List(Values... values) {
  std::string text;
  ((text += (text.empty() ? "" : ", ") + std::to_string(values)), ...);
  return text;
}

bool ThrowsIn(const std::string& operation) {
  const char* only = std::getenv("FAKE_SIBLING_THROW_IN");
  return Named("FAKE_SIBLING_THROW") && (only == nullptr || operation == only);
}

int Answer(const std::string& operation, const std::string& arguments, int result) {
  Note(operation + "(" + arguments + ")");
  if (!ThrowsIn(operation)) {
    return result;
  }
  if (const char* number = std::getenv("FAKE_SIBLING_THROW_NUMBER")) {
    throw std::atoi(number);
  }
  const char* text = std::getenv("FAKE_SIBLING_THROW_TEXT");
  throw std::runtime_error(text != nullptr ? text : operation + " failed");
}

std::string Bytes(const std::uint8_t* message, int length) {
  std::string text;
  for (int i = 0; i < length; ++i) {
    text += (text.empty() ? "" : " ") + std::to_string(message[i]);
  }
  return text;
}

class Receiver : public IReceiver {
 public:
  ~Receiver() override { Note("~Receiver"); }
  int SetConfigSource(std::string source) override { return Answer("SetConfigSource", source, 1); }
  int Initialize(std::uint8_t a, std::uint8_t b, std::uint8_t c) override {
    return Answer("Receiver.Initialize", List(a, b, c), 0);
  }
  int SendCommand(std::uint8_t* message, int length) override {
    return Answer("Receiver.SendCommand", Bytes(message, length), 1000 + length);
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    const int result = Answer("Receiver.ReadResponse", Bytes(buffer, length), 31);
    std::memset(buffer, 0x5A, static_cast<std::size_t>(length));
    return result;
  }
  void LogException(std::uint8_t* message, int length) override {
    Answer("LogException", Bytes(message, length), 0);
  }
  int LoadOptimizedMethod(std::string name) override {
    return Answer("LoadOptimizedMethod", name, 1);
  }
  int SetEmbeddedRuntime(std::uint8_t runtime, std::string path) override {
    return Answer("Receiver.SetEmbeddedRuntime", List(runtime) + ", " + path, 41);
  }
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override {
    return Answer("Receiver.DeployRuntime",
                  Bytes(message, length) + ", " + path + ", " + List(flag), 51);
  }
};

class Transmitter : public ITransmitter {
 public:
  ~Transmitter() override { Note("~Transmitter"); }
  int SendCommand(std::uint8_t* message, int length) override {
    return Answer("Transmitter.SendCommand", Bytes(message, length), 0);
  }
  int ReadResponse(std::uint8_t* /*buffer*/, int length) override {
    return Answer("Transmitter.ReadResponse", List(length), 0);
  }
  void SetTransportChannel(ITransport* /*channel*/) override { Note("SetTransportChannel"); }
  int SetEmbeddedRuntime(std::uint8_t a, std::uint8_t b, std::uint8_t c,
                         std::string path) override {
    return Answer("Transmitter.SetEmbeddedRuntime", List(a, b, c) + ", " + path, 0);
  }
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override {
    return Answer("Transmitter.DeployRuntime",
                  Bytes(message, length) + ", " + path + ", " + List(flag), 61);
  }
};

class Channel : public ITransport {
 public:
  explicit Channel(std::uint16_t port) : m_port(port) {}
  ~Channel() override { Note("~Channel"); }
  int Initialize(std::uint8_t a, std::uint8_t b, std::uint8_t c) override {
    return Answer("Channel.Initialize", List(a, b, c), 0);
  }
  int SendCommand(std::uint8_t* message, int length) override {
    return Answer("Channel.SendCommand", Bytes(message, length), 2000 + length);
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    const int result = Answer("Channel.ReadResponse", Bytes(buffer, length), 71);
    std::memset(buffer, m_port & 0xFF, static_cast<std::size_t>(length));
    return result;
  }
  int SetEmbeddedRuntime(std::uint8_t a, std::uint8_t b, std::uint8_t c,
                         std::string path) override {
    return Answer("Channel.SetEmbeddedRuntime", List(a, b, c) + ", " + path, 0);
  }
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override {
    return Answer("Channel.DeployRuntime", Bytes(message, length) + ", " + path + ", " + List(flag),
                  0);
  }

 private:
  const std::uint16_t m_port;
};

[[maybe_unused]] ITransmitter* lastTransmitter = nullptr;

// A library knows its receivers for good, even where nobody takes one over.
[[maybe_unused]] std::vector<IReceiver*>& Receivers() {
  static auto& all = *new std::vector<IReceiver*>;
  return all;
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

// Has `function` called at every call of this library, on the caller's thread, with the call as it
// was written to the file; null ends that.
EXPORTED void SetFakeSiblingHook(Hook* function) {
  hook = function;
}

#if !defined(FAKE_SIBLING_EMPTY)
EXPORTED IReceiver* CreateReceiver(int mode) {
  Note("CreateReceiver(" + List(mode) + ")");
  return Named("FAKE_SIBLING_NULL_RECEIVER") ? nullptr : Receivers().emplace_back(new Receiver);
}
#if !defined(FAKE_SIBLING_NO_TRANSMITTER)
EXPORTED ITransmitter* CreateTransmitter(int mode) {
  Note("CreateTransmitter(" + List(mode) + ")");
  lastTransmitter = Named("FAKE_SIBLING_NULL_TRANSMITTER") ? nullptr : new Transmitter;
  return lastTransmitter;
}
EXPORTED ITransmitter* LastTransmitter() {
  return lastTransmitter;
}
#endif
EXPORTED ITransport* CreateTransportChannel(const char* host, std::uint16_t port) {
  Note(std::string("CreateTransportChannel(") + host + ", " + List(port) + ")");
  return Named("FAKE_SIBLING_NULL_CHANNEL") ? nullptr : new Channel(port);
}
#endif

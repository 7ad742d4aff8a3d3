// The native methods of TransmitterWrapper, as Java calls them. The other runtime is a fake.
#include "tests/faults/JniScenarios.h"
#include "tests/jvm/JavaHost.h"

namespace FerrolinkTest {
namespace {

Bytes toCpp() {
  return {8, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2, 99};
}

/// What Java passes, as local references of the thread that passes them.
struct Arguments {
  explicit Arguments(const JavaThread& thread)
      : message(thread.array(toCpp())),
        buffer(thread.array({8, 0, 0, 0})),
        text(thread.string("/some/path")),
        m_env(thread.env()) {}
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  ~Arguments() {
    for (jobject argument : {jobject(message), jobject(buffer), jobject(text)}) {
      m_env->DeleteLocalRef(argument);
    }
  }
  jbyteArray message;
  jbyteArray buffer;
  jstring text;

 private:
  JNIEnv* m_env;
};

class NativeMethod : public JniScenario {
 public:
  std::string act() override { return run(m_host.thread, m_arguments); }
  std::string recover() override {
    std::string text = runWithNewArguments(m_host.thread);
    onNewThread([&] { text += runWithNewArguments(JavaThread(m_host.vm)); });
    return text;
  }
  int pendingExceptions() override {
    return m_host.thread.env()->ExceptionCheck() != JNI_FALSE ? 1 : 0;
  }
  FakeJvmClient& jvm() override { return m_host.jvm; }

 protected:
  /// Java's view of a native method's end: the result, and the pending exception if there is one.
  static std::string outcome(const JavaThread& thread, jint result) {
    const bool pending = thread.env()->ExceptionCheck() != JNI_FALSE;
    return pending ? "an exception is pending" : thread.outcome(result) + "\n";
  }

  JavaHost& host() { return m_host; }

 private:
  virtual std::string run(const JavaThread& thread, const Arguments& given) = 0;

  std::string runWithNewArguments(const JavaThread& thread) {
    const Arguments given(thread);
    return run(thread, given);
  }

  JavaHost m_host;
  Arguments m_arguments{m_host.thread};
};

class SendAndRead : public NativeMethod {
  std::string run(const JavaThread& thread, const Arguments& given) override {
    const std::string sent = outcome(thread, thread.sendCommand(given.message));
    return sent + outcome(thread, thread.readResponse(given.buffer));
  }
};

class SetEmbeddedRuntime : public NativeMethod {
  std::string run(const JavaThread& thread, const Arguments& given) override {
    return outcome(thread, thread.setEmbeddedRuntime(2, 8, 3, given.text));
  }
};

class DeployRuntime : public NativeMethod {
  std::string run(const JavaThread& thread, const Arguments& given) override {
    return outcome(thread, thread.deployRuntime(given.message, given.text, 5));
  }
};

class Configure : public NativeMethod {
  std::string run(const JavaThread& thread, const Arguments& given) override {
    const std::string source = outcome(thread, thread.setConfigSource(given.text));
    return source + outcome(thread, thread.setWorkingDirectory(given.text));
  }
};

/// An error, and its text as Java fetches it.
class GetNativeError : public NativeMethod {
 public:
  std::string act() override {
    const JavaThread& thread = host().thread;
    thread.sendCommand(nullptr);
    jstring text = thread.getNativeError();
    if (text == nullptr) {
      return "null";
    }
    thread.env()->DeleteLocalRef(text);
    return "a text";
  }

 private:
  std::string run(const JavaThread& thread, const Arguments& /*given*/) override {
    return outcome(thread, thread.sendCommand(nullptr));
  }
};

template <class Scenario>
std::unique_ptr<JniScenario> make() {
  return std::make_unique<Scenario>();
}

}  // namespace

std::vector<JniScenarioEntry> nativeMethodScenarios() {
  return {{"SendAndRead", false, make<SendAndRead>},
          {"SetEmbeddedRuntime", false, make<SetEmbeddedRuntime>},
          {"DeployRuntime", false, make<DeployRuntime>},
          {"Configure", false, make<Configure>},
          {"GetNativeError", false, make<GetNativeError>}};
}

}  // namespace FerrolinkTest

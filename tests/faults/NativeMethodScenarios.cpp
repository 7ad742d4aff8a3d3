// The native methods of TransmitterWrapper, as Java calls them. The other runtime is a fake.
#include "tests/faults/JniScenarios.h"
#include "tests/jvm/FakeJavaHost.h"

namespace Ferrolink::Tests {
namespace {

Bytes ToCpp() {
  return {8, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2, 99};
}

/// What Java passes, as local references of the thread that passes them.
struct Arguments {
  explicit Arguments(const JavaThread& thread)
      : message(thread.Array(ToCpp())),
        buffer(thread.Array({8, 0, 0, 0})),
        text(thread.String("/some/path")),
        m_env(thread.Env()) {}
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
  std::string Act() override { return Run(m_host.thread, m_arguments); }
  std::string Recover() override {
    std::string text = RunWithNewArguments(m_host.thread);
    OnNewThread([&] { text += RunWithNewArguments(JavaThread(m_host.vm)); });
    return text;
  }
  int PendingExceptions() override {
    return m_host.thread.Env()->ExceptionCheck() != JNI_FALSE ? 1 : 0;
  }
  FakeJvmClient& Jvm() override { return m_host.jvm; }

 protected:
  /// Java's view of a native method's end: the result, and the pending exception if there is one.
  static std::string Outcome(const JavaThread& thread, jint result) {
    const bool pending = thread.Env()->ExceptionCheck() != JNI_FALSE;
    return pending ? "an exception is pending" : thread.Outcome(result) + "\n";
  }

  FakeJavaHost& Host() { return m_host; }

 private:
  virtual std::string Run(const JavaThread& thread, const Arguments& given) = 0;

  std::string RunWithNewArguments(const JavaThread& thread) {
    const Arguments given(thread);
    return Run(thread, given);
  }

  FakeJavaHost m_host;
  Arguments m_arguments{m_host.thread};
};

class SendAndRead : public NativeMethod {
  std::string Run(const JavaThread& thread, const Arguments& given) override {
    const std::string sent = Outcome(thread, thread.sendCommand(given.message));
    return sent + Outcome(thread, thread.readResponse(given.buffer));
  }
};

class SetEmbeddedRuntime : public NativeMethod {
  std::string Run(const JavaThread& thread, const Arguments& given) override {
    return Outcome(thread, thread.setEmbeddedRuntime(2, 8, 3, given.text));
  }
};

class DeployRuntime : public NativeMethod {
  std::string Run(const JavaThread& thread, const Arguments& given) override {
    return Outcome(thread, thread.deployRuntime(given.message, given.text, 5));
  }
};

class Configure : public NativeMethod {
  std::string Run(const JavaThread& thread, const Arguments& given) override {
    const std::string source = Outcome(thread, thread.setConfigSource(given.text));
    return source + Outcome(thread, thread.setWorkingDirectory(given.text));
  }
};

/// An error, and its text as Java fetches it.
class GetNativeError : public NativeMethod {
 public:
  std::string Act() override {
    const JavaThread& thread = Host().thread;
    thread.sendCommand(nullptr);
    jstring text = thread.getNativeError();
    if (text == nullptr) {
      return "null";
    }
    thread.Env()->DeleteLocalRef(text);
    return "a text";
  }

 private:
  std::string Run(const JavaThread& thread, const Arguments& /*given*/) override {
    return Outcome(thread, thread.sendCommand(nullptr));
  }
};

template <class Scenario>
std::unique_ptr<JniScenario> Make() {
  return std::make_unique<Scenario>();
}

}  // namespace

std::vector<JniScenarioEntry> NativeMethodScenarios() {
  return {{"SendAndRead", false, Make<SendAndRead>},
          {"SetEmbeddedRuntime", false, Make<SetEmbeddedRuntime>},
          {"DeployRuntime", false, Make<DeployRuntime>},
          {"Configure", false, Make<Configure>},
          {"GetNativeError", false, Make<GetNativeError>}};
}

}  // namespace Ferrolink::Tests

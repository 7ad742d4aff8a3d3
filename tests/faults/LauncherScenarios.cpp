// Work of the launcher: its own JVM, an adopted one, and one that it is bound to.
#include <thread>

#include "jvm/JvmLibGlobals.h"
#include "tests/faults/JniScenarios.h"
#include "tests/jvm/JavaHost.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace FerrolinkTest {
namespace {

std::string onAnother(const std::function<std::string()>& action) {
  std::string result;
  std::thread([&] { result = action(); }).join();
  return result;
}

// Exceptions are asked for without a call that could fail: a thread that is not attached has none.
int pendingOn(JavaVM* vm) {
  JNIEnv* env = nullptr;
  if (vm == nullptr || vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8) != JNI_OK ||
      env == nullptr) {
    return 0;
  }
  return env->ExceptionCheck() != JNI_FALSE ? 1 : 0;
}

std::string exchanges(Launched& launched) {
  std::string results;
  const auto exchange = [&](const Bytes& message) { results += launched.exchange(message) + "\n"; };
  exchange(command());
  exchange(command(11));
  onNewThread([&] {
    exchange(command(2, 15));
    exchange(command(2, 16));
  });
  return results;
}

/// A launcher whose JVM has not been started.
class StartUp : public JniScenario {
 public:
  std::string act() override { return m_launched.exchange(command()); }
  std::string recover() override { return exchanges(m_launched); }
  int pendingExceptions() override { return pendingOn(jvm().firstJvm()); }
  FakeJvmClient& jvm() override { return m_launched.jvm; }

 protected:
  Launched& launched() { return m_launched; }

 private:
  Launched m_launched;
};

class Adopted : public StartUp {
 public:
  Adopted() { jvm().startJvm(); }
};

class StartUpOnAnotherThread : public StartUp {
 public:
  std::string act() override {
    return onAnother([this] { return StartUp::act(); });
  }
};

class Running : public StartUp {
 public:
  Running() { launched().exchange(command()); }
};

class HeartBeat : public Running {
 public:
  std::string act() override { return launched().exchange(command(11)); }
};

class FirstCommandOfAnotherThread : public Running {
 public:
  std::string act() override {
    return onAnother([this] { return launched().exchange(command()); });
  }
};

class LaterCommandOfAnotherThread : public FirstCommandOfAnotherThread {
 public:
  LaterCommandOfAnotherThread() { FirstCommandOfAnotherThread::act(); }
};

/// The error whose text carries what Java says of itself.
class ExceptionReport : public Running {
 public:
  std::string act() override {
    jvm().script().sendCommand.answer = FakeJvm::Answer::Throw;
    std::string text = run();
    jvm().script().sendCommand.answer = FakeJvm::Answer::Echo;
    return text;
  }

 private:
  virtual std::string run() { return launched().exchange(command()); }
};

class ExceptionReportOnAnotherThread : public ExceptionReport {
  std::string run() override {
    return onAnother([this] { return launched().exchange(command()); });
  }
};

class RuntimeInfo : public Running {
 public:
  std::string act() override {
    const std::string here = launched().launcher.GetRuntimeInfo();
    return here + onAnother([this] { return launched().launcher.GetRuntimeInfo(); });
  }
};

class Version : public Running {
 public:
  std::string act() override { return launched().launcher.GetVersionString(); }
};

/// A launcher that is bound to the JVM of a Java program, whose callback is registered.
class Bound : public JniScenario {
 public:
  Bound() { m_thread.setCallback(jvm().makeObject(true)); }
  std::string act() override { return m_launched.exchange(command()); }
  std::string recover() override { return exchanges(m_launched); }
  int pendingExceptions() override { return pendingOn(m_vm); }
  FakeJvmClient& jvm() override { return m_launched.jvm; }

 protected:
  Launched& launched() { return m_launched; }
  JavaThread& thread() { return m_thread; }

 private:
  Launched m_launched{RuntimeOperationMode::CallingRuntime};
  JavaVM* m_vm = jvm().startJvm();
  JavaThread m_thread{m_vm};
};

class BoundOnAnotherThread : public Bound {
 public:
  std::string act() override {
    return onAnother([this] { return launched().exchange(command()); });
  }
};

/// Registrations: after one that failed, the next must work.
class SetCallback : public Bound {
 public:
  std::string act() override {
    thread().setCallback(m_second);
    return launched().exchange(command());
  }
  std::string recover() override {
    thread().setCallback(m_third);
    return Bound::recover();
  }

 private:
  jobject m_second = jvm().makeObject(true);
  jobject m_third = jvm().makeObject(true);
};

class FirstSetCallback : public JniScenario {
 public:
  std::string act() override {
    m_thread.setCallback(m_callback);
    return m_launched.exchange(command());
  }
  std::string recover() override {
    m_thread.setCallback(m_callback);
    return exchanges(m_launched);
  }
  int pendingExceptions() override { return pendingOn(m_vm); }
  FakeJvmClient& jvm() override { return m_launched.jvm; }

 private:
  Launched m_launched{RuntimeOperationMode::CallingRuntime};
  JavaVM* m_vm = jvm().startJvm();
  JavaThread m_thread{m_vm};
  jobject m_callback = jvm().makeObject(true);
};

template <class Scenario>
std::unique_ptr<JniScenario> make() {
  return std::make_unique<Scenario>();
}

}  // namespace

std::vector<JniScenarioEntry> launcherScenarios() {
  return {{"StartUp", true, make<StartUp>},
          {"StartUpOnAnotherThread", true, make<StartUpOnAnotherThread>, 1},
          {"AdoptedJvm", true, make<Adopted>},
          {"HeartBeat", true, make<HeartBeat>},
          {"FirstCommandOfAnotherThread", true, make<FirstCommandOfAnotherThread>},
          {"LaterCommandOfAnotherThread", true, make<LaterCommandOfAnotherThread>},
          {"ExceptionReport", true, make<ExceptionReport>},
          {"ExceptionReportOnAnotherThread", true, make<ExceptionReportOnAnotherThread>},
          {"RuntimeInfo", true, make<RuntimeInfo>},
          {"Version", true, make<Version>},
          {"BoundToACallback", true, make<Bound>},
          {"BoundOnAnotherThread", true, make<BoundOnAnotherThread>},
          {"SetCallback", false, make<SetCallback>},
          {"FirstSetCallback", false, make<FirstSetCallback>}};
}

std::vector<JniScenarioEntry> jniScenarios() {
  std::vector<JniScenarioEntry> all = launcherScenarios();
  for (const JniScenarioEntry& entry : nativeMethodScenarios()) {
    all.push_back(entry);
  }
  return all;
}

}  // namespace FerrolinkTest

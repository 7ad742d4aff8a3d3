// Work of the launcher: its own JVM, an adopted one, and one that it is bound to.
#include <thread>

#include "jvm/JvmLibGlobals.h"
#include "tests/faults/JniScenarios.h"
#include "tests/jvm/FakeJavaHost.h"
#include "tests/jvm/LauncherFixture.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {
namespace {

std::string OnAnother(const std::function<std::string()>& action) {
  std::string result;
  std::thread([&] { result = action(); }).join();
  return result;
}

// Exceptions are asked for without a call that could fail: a thread that is not attached has none.
int PendingOn(JavaVM* vm) {
  JNIEnv* env = nullptr;
  if (vm == nullptr || vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8) != JNI_OK ||
      env == nullptr) {
    return 0;
  }
  return env->ExceptionCheck() != JNI_FALSE ? 1 : 0;
}

std::string Exchanges(Launched& launched) {
  std::string results;
  const auto exchange = [&](const Bytes& message) { results += launched.Exchange(message) + "\n"; };
  exchange(Command());
  exchange(Command(11));
  OnNewThread([&] {
    exchange(Command(2, 15));
    exchange(Command(2, 16));
  });
  return results;
}

/// A launcher whose JVM has not been started.
class StartUp : public JniScenario {
 public:
  std::string Act() override { return m_launched.Exchange(Command()); }
  std::string Recover() override { return Exchanges(m_launched); }
  int PendingExceptions() override { return PendingOn(Jvm().FirstJvm()); }
  FakeJvmClient& Jvm() override { return m_launched.jvm; }

 protected:
  Launched& GetLaunched() { return m_launched; }

 private:
  Launched m_launched;
};

class Adopted : public StartUp {
 public:
  Adopted() { Jvm().StartJvm(); }
};

class StartUpOnAnotherThread : public StartUp {
 public:
  std::string Act() override {
    return OnAnother([this] { return StartUp::Act(); });
  }
};

class Running : public StartUp {
 public:
  Running() { GetLaunched().Exchange(Command()); }
};

class HeartBeat : public Running {
 public:
  std::string Act() override { return GetLaunched().Exchange(Command(11)); }
};

class FirstCommandOfAnotherThread : public Running {
 public:
  std::string Act() override {
    return OnAnother([this] { return GetLaunched().Exchange(Command()); });
  }
};

class LaterCommandOfAnotherThread : public FirstCommandOfAnotherThread {
 public:
  LaterCommandOfAnotherThread() { FirstCommandOfAnotherThread::Act(); }
};

/// The error whose text carries what Java says of itself.
class ExceptionReport : public Running {
 public:
  std::string Act() override {
    Jvm().Script().sendCommand.answer = FakeJvm::Answer::Throw;
    std::string text = Run();
    Jvm().Script().sendCommand.answer = FakeJvm::Answer::Echo;
    return text;
  }

 private:
  virtual std::string Run() { return GetLaunched().Exchange(Command()); }
};

class ExceptionReportOnAnotherThread : public ExceptionReport {
  std::string Run() override {
    return OnAnother([this] { return GetLaunched().Exchange(Command()); });
  }
};

class TellRuntimeInfo : public Running {
 public:
  std::string Act() override {
    const std::string here = GetLaunched().launcher.GetRuntimeInfo();
    return here + OnAnother([this] { return GetLaunched().launcher.GetRuntimeInfo(); });
  }
};

class Version : public Running {
 public:
  std::string Act() override { return GetLaunched().launcher.GetVersionString(); }
};

/// A launcher that is bound to the JVM of a Java program, whose callback is registered.
class Bound : public JniScenario {
 public:
  Bound() { m_thread.setCallback(Jvm().MakeObject(true)); }
  std::string Act() override { return m_launched.Exchange(Command()); }
  std::string Recover() override { return Exchanges(m_launched); }
  int PendingExceptions() override { return PendingOn(m_vm); }
  FakeJvmClient& Jvm() override { return m_launched.jvm; }

 protected:
  Launched& GetLaunched() { return m_launched; }
  JavaThread& Thread() { return m_thread; }

 private:
  Launched m_launched{RuntimeOperationMode::CallingRuntime};
  JavaVM* m_vm = Jvm().StartJvm();
  JavaThread m_thread{m_vm};
};

class BoundOnAnotherThread : public Bound {
 public:
  std::string Act() override {
    return OnAnother([this] { return GetLaunched().Exchange(Command()); });
  }
};

/// Registrations: after one that failed, the next must work.
class SetCallback : public Bound {
 public:
  std::string Act() override {
    Thread().setCallback(m_second);
    return GetLaunched().Exchange(Command());
  }
  std::string Recover() override {
    Thread().setCallback(m_third);
    return Bound::Recover();
  }

 private:
  jobject m_second = Jvm().MakeObject(true);
  jobject m_third = Jvm().MakeObject(true);
};

class FirstSetCallback : public JniScenario {
 public:
  std::string Act() override {
    m_thread.setCallback(m_callback);
    return m_launched.Exchange(Command());
  }
  std::string Recover() override {
    m_thread.setCallback(m_callback);
    return Exchanges(m_launched);
  }
  int PendingExceptions() override { return PendingOn(m_vm); }
  FakeJvmClient& Jvm() override { return m_launched.jvm; }

 private:
  Launched m_launched{RuntimeOperationMode::CallingRuntime};
  JavaVM* m_vm = Jvm().StartJvm();
  JavaThread m_thread{m_vm};
  jobject m_callback = Jvm().MakeObject(true);
};

template <class Scenario>
std::unique_ptr<JniScenario> Make() {
  return std::make_unique<Scenario>();
}

}  // namespace

std::vector<JniScenarioEntry> LauncherScenarios() {
  return {{"StartUp", true, Make<StartUp>},
          {"StartUpOnAnotherThread", true, Make<StartUpOnAnotherThread>, 1},
          {"AdoptedJvm", true, Make<Adopted>},
          {"HeartBeat", true, Make<HeartBeat>},
          {"FirstCommandOfAnotherThread", true, Make<FirstCommandOfAnotherThread>},
          {"LaterCommandOfAnotherThread", true, Make<LaterCommandOfAnotherThread>},
          {"ExceptionReport", true, Make<ExceptionReport>},
          {"ExceptionReportOnAnotherThread", true, Make<ExceptionReportOnAnotherThread>},
          {"RuntimeInfo", true, Make<TellRuntimeInfo>},
          {"Version", true, Make<Version>},
          {"BoundToACallback", true, Make<Bound>},
          {"BoundOnAnotherThread", true, Make<BoundOnAnotherThread>},
          {"SetCallback", false, Make<SetCallback>},
          {"FirstSetCallback", false, Make<FirstSetCallback>}};
}

std::vector<JniScenarioEntry> JniScenarios() {
  std::vector<JniScenarioEntry> all = LauncherScenarios();
  for (const JniScenarioEntry& entry : NativeMethodScenarios()) {
    all.push_back(entry);
  }
  return all;
}

}  // namespace Ferrolink::Tests

#include "tests/faults/LibcScenarios.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <latch>
#include <thread>

namespace Ferrolink::Tests {
namespace {

std::string OnAnotherThread(const std::function<std::string()>& action) {
  std::string result;
  const std::string thrown = ThrownBy([&] { std::thread([&] { result = action(); }).join(); });
  return result.empty() ? thrown : result;
}

// Byte 24 on is the path.
Bytes loadLibrary(const std::string& path) {
  return ToJava(1, std::string(13, '\0') + path);
}

/// The steps of a host, with the errors that both JVMs can be brought to.
class Host : public LibcScenario {
 public:
  explicit Host(const BuiltLibrary& library) : m_library(library) {
    const std::filesystem::path archives = CaseRoot() / "archives";
    std::filesystem::create_directory(archives);
    std::ofstream(archives / "one.jar") << "one";
    std::ofstream(archives / "two.jar") << "two";
  }

  std::vector<Step> Steps() override {
    return {
        {"create",
         [this] { return ThrownBy([this] { static_cast<void>(m_library.Receiver()); }); }},
        {"initialize",
         [this] { return ThrownBy([this] { m_library.Receiver()->Initialize(8, 2, 0); }); }},
        {"load", [this] { return Call(loadLibrary((CaseRoot() / "archives/one.jar").string())); }},
        {"load in vain", [this] { return Call(loadLibrary("/no/such/archive.jar")); }},
        {"command", [this] { return Echo("text"); }},
        {"heartbeat", [this] { return Call(ToJava(11)); }},
        {"throwing", [this] { return Throwing(); }},
        {"read in vain", [this] { return ReadInVain(); }},
        {"other thread", [this] { return OnAnotherThread([this] { return Echo("other"); }); }},
        {"throwing on other thread",
         [this] { return OnAnotherThread([this] { return Throwing(); }); }},
        {"long command", [this] { return Echo(std::string(5000, 'l')); }},
        {"configure",
         [this] { return ThrownBy([this] { m_library.Receiver()->SetConfigSource("s"); }); }},
        {"last command", [this] { return Echo("last"); }},
    };
  }

 protected:
  [[nodiscard]] std::string Call(const Bytes& command) {
    return Exchange(*m_library.Receiver(), command);
  }
  [[nodiscard]] virtual std::string Echo(const std::string& body) = 0;
  [[nodiscard]] virtual std::string Throwing() = 0;

 private:
  std::string ReadInVain() {
    Bytes buffer(4);
    return ThrownBy([&] { m_library.Receiver()->ReadResponse(buffer.data(), 4); });
  }

  const BuiltLibrary& m_library;
};

class HostOnFakeJvm : public Host {
 public:
  using Host::Host;

  std::string Left() override {
    const FakeJvm::Counts counts = m_jvm.Counts();
    std::string text;
    for (const long count : {counts.localReferences, counts.globalReferences, counts.elements,
                             counts.characters, counts.droppedByDetach}) {
      text += std::to_string(count) + " ";
    }
    return text;
  }

 private:
  std::string Echo(const std::string& body) override { return Call(ToJava(2, body)); }
  std::string Throwing() override {
    m_jvm.Script().sendCommand.answer = FakeJvm::Answer::Throw;
    std::string text = Call(ToJava(2));
    m_jvm.Script().sendCommand.answer = FakeJvm::Answer::Echo;
    return text;
  }

  FakeJvmClient m_jvm{FAKEJVM_PATH};
};

/// The listing of a directory. Without memory the C++ library's ends the process.
class Archives : public HostOnFakeJvm {
 public:
  explicit Archives(const BuiltLibrary& library) : HostOnFakeJvm(library) {
    library.Receiver()->Initialize(8, 2, 0);
  }

  std::vector<Step> Steps() override {
    return {{"load", [this] { return Call(loadLibrary((CaseRoot() / "archives").string())); }}};
  }
};

/// Two commands at a time, where one holds the lock until the other has gone to sleep for it.
class Contended : public HostOnFakeJvm {
 public:
  explicit Contended(const BuiltLibrary& library) : HostOnFakeJvm(library) {
    library.Receiver()->Initialize(8, 2, 0);
    static_cast<void>(Call(ToJava(2)));
    FakeJvmClient(FAKEJVM_PATH).InsideNewByteArray([this] { StayInside(); });
  }

  std::vector<Step> Steps() override {
    return {{"at once", [this] { return AtOnce(); }},
            {"at once again", [this] { return AtOnce(); }}};
  }

 private:
  // The first that is inside stays there.
  void StayInside() {
    if (m_inside.exchange(true)) {
      return;
    }
    m_entered->count_down();
    while (!SleptInLibc()) {
      std::this_thread::yield();
    }
  }

  std::string AtOnce() {
    ForgetSleepsInLibc();
    m_entered = std::make_unique<std::latch>(1);
    m_inside = false;
    std::string first;
    std::thread other([&] { first = Call(ToJava(2, "first")); });
    m_entered->wait();
    const std::string second = Call(ToJava(2, "second"));
    other.join();
    return first + " " + second;
  }

  std::atomic<bool> m_inside{true};
  std::unique_ptr<std::latch> m_entered;
};

class HostOnRealJvm : public Host {
 public:
  using Host::Host;

 private:
  std::string Echo(const std::string& body) override { return Call(ToJava(2, "e" + body)); }
  std::string Throwing() override { return Call(ToJava(2, "ttext")); }
};

class Transmitter : public LibcScenario {
 public:
  explicit Transmitter(const BuiltLibrary& library) : m_library(library) {}

  std::vector<Step> Steps() override {
    return {
        {"create",
         [this] { return ThrownBy([this] { static_cast<void>(m_library.Transmitter()); }); }},
        {"read in vain", [this] { return ReadFrom8(); }},
        {"missing runtime", [this] { return SendTo(4, 0); }},
        {"in memory", [this] { return SendTo(8, 0); }},
        {"read", [this] { return ReadFrom8(); }},
        {"too short", [this] { return Send(*m_library.Transmitter(), Bytes(4, 0)); }},
        {"no channel", [this] { return SendTo(8, 9); }},
        {"over TCP", [this] { return SendTo(8, 1); }},
        {"over TLS", [this] { return SendTo(8, 2); }},
        {"other thread", [this] { return OnAnotherThread([this] { return SendTo(8, 0); }); }},
        {"deploy", [this] { return Deploy(); }},
        {"embed", [this] { return Embed(); }},
    };
  }

 private:
  std::string SendTo(std::uint8_t runtime, std::uint8_t channel) {
    Bytes command = ToRuntime8(channel);
    command[0] = runtime;
    command[7] = static_cast<std::uint8_t>(channel + 1);  // a port for each type
    return Send(*m_library.Transmitter(), command);
  }
  std::string ReadFrom8() {
    Bytes buffer = {8};
    return Result([&] {
      m_library.Transmitter()->ReadResponse(buffer.data(), 1);
      return buffer[0];
    });
  }
  std::string Deploy() {
    Bytes command = ToRuntime8(0);
    return Result([&] {
      return m_library.Transmitter()->DeployRuntime(
          command.data(), static_cast<int>(command.size()), "/some/path", 1);
    });
  }
  std::string Embed() {
    return Result(
        [&] { return m_library.Transmitter()->SetEmbeddedRuntime(2, 8, 0, "/some/path"); });
  }
  static std::string Result(const std::function<int()>& operation) {
    std::string text;
    const std::string thrown = ThrownBy([&] { text = std::to_string(operation()); });
    return text.empty() ? thrown : text;
  }

  const BuiltLibrary& m_library;
};

}  // namespace

std::unique_ptr<LibcScenario> MakeHostOnFakeJvm(const BuiltLibrary& library) {
  return std::make_unique<HostOnFakeJvm>(library);
}

std::unique_ptr<LibcScenario> MakeArchives(const BuiltLibrary& library) {
  return std::make_unique<Archives>(library);
}

std::unique_ptr<LibcScenario> MakeContended(const BuiltLibrary& library) {
  return std::make_unique<Contended>(library);
}

std::unique_ptr<LibcScenario> MakeHostOnRealJvm(const BuiltLibrary& library) {
  return std::make_unique<HostOnRealJvm>(library);
}

std::unique_ptr<LibcScenario> MakeTransmitter(const BuiltLibrary& library) {
  return std::make_unique<Transmitter>(library);
}

}  // namespace Ferrolink::Tests

#include "tests/faults/LibcScenarios.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <latch>
#include <thread>

namespace FerrolinkTest {
namespace {

std::string onAnotherThread(const std::function<std::string()>& action) {
  std::string result;
  const std::string thrown = thrownBy([&] { std::thread([&] { result = action(); }).join(); });
  return result.empty() ? thrown : result;
}

// Byte 24 on is the path.
Bytes loadLibrary(const std::string& path) {
  return toJava(1, std::string(13, '\0') + path);
}

/// The steps of a host, with the errors that both JVMs can be brought to.
class Host : public LibcScenario {
 public:
  explicit Host(const BuiltLibrary& library) : m_library(library) {
    const std::filesystem::path archives = caseRoot() / "archives";
    std::filesystem::create_directory(archives);
    std::ofstream(archives / "one.jar") << "one";
    std::ofstream(archives / "two.jar") << "two";
  }

  std::vector<Step> steps() override {
    return {
        {"create",
         [this] { return thrownBy([this] { static_cast<void>(m_library.receiver()); }); }},
        {"initialize",
         [this] { return thrownBy([this] { m_library.receiver()->Initialize(8, 2, 0); }); }},
        {"load", [this] { return call(loadLibrary((caseRoot() / "archives/one.jar").string())); }},
        {"load in vain", [this] { return call(loadLibrary("/no/such/archive.jar")); }},
        {"command", [this] { return echo("text"); }},
        {"heartbeat", [this] { return call(toJava(11)); }},
        {"throwing", [this] { return throwing(); }},
        {"read in vain", [this] { return readInVain(); }},
        {"other thread", [this] { return onAnotherThread([this] { return echo("other"); }); }},
        {"throwing on other thread",
         [this] { return onAnotherThread([this] { return throwing(); }); }},
        {"long command", [this] { return echo(std::string(5000, 'l')); }},
        {"configure",
         [this] { return thrownBy([this] { m_library.receiver()->SetConfigSource("s"); }); }},
        {"last command", [this] { return echo("last"); }},
    };
  }

 protected:
  [[nodiscard]] std::string call(const Bytes& command) {
    return exchange(*m_library.receiver(), command);
  }
  [[nodiscard]] virtual std::string echo(const std::string& body) = 0;
  [[nodiscard]] virtual std::string throwing() = 0;

 private:
  std::string readInVain() {
    Bytes buffer(4);
    return thrownBy([&] { m_library.receiver()->ReadResponse(buffer.data(), 4); });
  }

  const BuiltLibrary& m_library;
};

class HostOnFakeJvm : public Host {
 public:
  using Host::Host;

  std::string left() override {
    const FakeJvm::Counts counts = m_jvm.counts();
    std::string text;
    for (const long count : {counts.localReferences, counts.globalReferences, counts.elements,
                             counts.characters, counts.droppedByDetach}) {
      text += std::to_string(count) + " ";
    }
    return text;
  }

 private:
  std::string echo(const std::string& body) override { return call(toJava(2, body)); }
  std::string throwing() override {
    m_jvm.script().sendCommand.answer = FakeJvm::Answer::Throw;
    std::string text = call(toJava(2));
    m_jvm.script().sendCommand.answer = FakeJvm::Answer::Echo;
    return text;
  }

  FakeJvmClient m_jvm{FAKEJVM_PATH};
};

/// The listing of a directory. Without memory the C++ library's ends the process.
class Archives : public HostOnFakeJvm {
 public:
  explicit Archives(const BuiltLibrary& library) : HostOnFakeJvm(library) {
    library.receiver()->Initialize(8, 2, 0);
  }

  std::vector<Step> steps() override {
    return {{"load", [this] { return call(loadLibrary((caseRoot() / "archives").string())); }}};
  }
};

/// Two commands at a time, where one holds the lock until the other has gone to sleep for it.
class Contended : public HostOnFakeJvm {
 public:
  explicit Contended(const BuiltLibrary& library) : HostOnFakeJvm(library) {
    library.receiver()->Initialize(8, 2, 0);
    static_cast<void>(call(toJava(2)));
    FakeJvmClient(FAKEJVM_PATH).insideNewByteArray([this] { stayInside(); });
  }

  std::vector<Step> steps() override {
    return {{"at once", [this] { return atOnce(); }},
            {"at once again", [this] { return atOnce(); }}};
  }

 private:
  // The first that is inside stays there.
  void stayInside() {
    if (m_inside.exchange(true)) {
      return;
    }
    m_entered->count_down();
    while (!sleptInLibc()) {
      std::this_thread::yield();
    }
  }

  std::string atOnce() {
    forgetSleepsInLibc();
    m_entered = std::make_unique<std::latch>(1);
    m_inside = false;
    std::string first;
    std::thread other([&] { first = call(toJava(2, "first")); });
    m_entered->wait();
    const std::string second = call(toJava(2, "second"));
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
  std::string echo(const std::string& body) override { return call(toJava(2, "e" + body)); }
  std::string throwing() override { return call(toJava(2, "ttext")); }
};

class Transmitter : public LibcScenario {
 public:
  explicit Transmitter(const BuiltLibrary& library) : m_library(library) {}

  std::vector<Step> steps() override {
    return {
        {"create",
         [this] { return thrownBy([this] { static_cast<void>(m_library.transmitter()); }); }},
        {"read in vain", [this] { return readFrom8(); }},
        {"missing runtime", [this] { return sendTo(4, 0); }},
        {"in memory", [this] { return sendTo(8, 0); }},
        {"read", [this] { return readFrom8(); }},
        {"too short", [this] { return send(*m_library.transmitter(), Bytes(4, 0)); }},
        {"no channel", [this] { return sendTo(8, 9); }},
        {"over TCP", [this] { return sendTo(8, 1); }},
        {"over TLS", [this] { return sendTo(8, 2); }},
        {"other thread", [this] { return onAnotherThread([this] { return sendTo(8, 0); }); }},
        {"deploy", [this] { return deploy(); }},
        {"embed", [this] { return embed(); }},
    };
  }

 private:
  std::string sendTo(std::uint8_t runtime, std::uint8_t channel) {
    Bytes command = toRuntime8(channel);
    command[0] = runtime;
    command[7] = static_cast<std::uint8_t>(channel + 1);  // a port for each type
    return send(*m_library.transmitter(), command);
  }
  std::string readFrom8() {
    Bytes buffer = {8};
    return result([&] {
      m_library.transmitter()->ReadResponse(buffer.data(), 1);
      return buffer[0];
    });
  }
  std::string deploy() {
    Bytes command = toRuntime8(0);
    return result([&] {
      return m_library.transmitter()->DeployRuntime(
          command.data(), static_cast<int>(command.size()), "/some/path", 1);
    });
  }
  std::string embed() {
    return result(
        [&] { return m_library.transmitter()->SetEmbeddedRuntime(2, 8, 0, "/some/path"); });
  }
  static std::string result(const std::function<int()>& operation) {
    std::string text;
    const std::string thrown = thrownBy([&] { text = std::to_string(operation()); });
    return text.empty() ? thrown : text;
  }

  const BuiltLibrary& m_library;
};

}  // namespace

std::unique_ptr<LibcScenario> hostOnFakeJvm(const BuiltLibrary& library) {
  return std::make_unique<HostOnFakeJvm>(library);
}

std::unique_ptr<LibcScenario> archives(const BuiltLibrary& library) {
  return std::make_unique<Archives>(library);
}

std::unique_ptr<LibcScenario> contended(const BuiltLibrary& library) {
  return std::make_unique<Contended>(library);
}

std::unique_ptr<LibcScenario> hostOnRealJvm(const BuiltLibrary& library) {
  return std::make_unique<HostOnRealJvm>(library);
}

std::unique_ptr<LibcScenario> transmitter(const BuiltLibrary& library) {
  return std::make_unique<Transmitter>(library);
}

}  // namespace FerrolinkTest

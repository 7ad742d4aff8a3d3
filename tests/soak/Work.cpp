// Work inside the process.
#include "tests/soak/Work.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "native/interfaces/RuntimeOperationMode.h"

namespace FerrolinkSoak {

namespace detail = Ferrolink::Host::detail;
using detail::Runtime;
using Ferrolink::Host::ToBytes;
using Ferrolink::Host::ToText;
using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace {

constexpr std::uint8_t kUnknownType = 77;
constexpr int kBurst = 4;

std::filesystem::path nativeDirectory(const Settings& settings) {
  return std::filesystem::path(settings.root) / detail::kNativeDirectory;
}

}  // namespace

Program::Program(Settings settings)
    : m_settings(std::move(settings)),
      m_host({nativeDirectory(m_settings), ""}),
      m_receiver(detail::openReceiver(m_host.LibraryPath())) {
  m_host.LoadLibrary(m_settings.archive);
  m_host.Start();
  const auto cpp = nativeDirectory(m_settings) / "libFerrolinkCppRuntimeNative.so";
  m_transmitter = detail::functionOf<Transmitter*(RuntimeOperationMode)>(
      detail::openLibrary(cpp), cpp, "CreateTransmitter")(RuntimeOperationMode::CallingRuntime);
  Payloads none(0);
  loadAgain(none);
}

void Program::expectBytes(std::string_view kind, const Bytes& got, Span expected) {
  m_tally.command(kind);
  if (!std::equal(got.begin(), got.end(), expected.begin(), expected.end())) {
    m_tally.wrong(std::string(kind) + ": sent " + std::to_string(expected.size()) +
                  " bytes, got other " + std::to_string(got.size()));
  }
}

void Program::expectError(std::string_view kind, const std::string& start,
                          const std::function<void()>& action) {
  std::string text = "no error";
  try {
    action();
  } catch (const std::exception& error) {
    text = error.what();
  }
  m_tally.command("failing");
  if (text.starts_with(start)) {
    m_tally.expectedError(kind);
  } else {
    m_tally.wrong(std::string(kind) + ": " + text);
  }
}

void Program::callOnThisThread(Payloads& payloads) {
  const Span payload = payloads.next();
  expectBytes("Java", m_host.Call("echo", payload), payload);
  const Span small = payloads.small();
  expectBytes("Java", m_host.Call("invert", small), inverted(small));
}

void Program::callUnread(Payloads& payloads) {
  const Span payload = payloads.below(4) == 0 ? payloads.largest() : payloads.small();
  Bytes command = detail::callCommand(Runtime::Jvm, "echo", payload);
  const auto expected = static_cast<int>(payload.size() + detail::Header::kSize);
  if (m_receiver->SendCommand(command.data(), static_cast<int>(command.size())) != expected) {
    m_tally.wrong("unread: another length");
  }
  m_tally.command("left unread");
}

void Program::callOnShortLivedThreads(Payloads& payloads) {
  std::vector<std::thread> threads;
  for (int number = 0; number < kBurst; ++number) {
    const bool large = payloads.below(8) == 0;
    const Span payload = large ? payloads.largest() : payloads.small();
    const bool unread = payloads.below(4) == 0;
    threads.emplace_back([&, payload, unread, seed = static_cast<unsigned>(payloads.below(1000))] {
      try {
        if (unread) {
          Payloads own(seed);
          callUnread(own);
        } else {
          expectBytes("short-lived thread", m_host.Call("echo", payload), payload);
        }
      } catch (const std::exception& error) {
        m_tally.wrong(std::string("short-lived thread: ") + error.what());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void Program::failOnPurpose(Payloads& payloads) {
  const std::string text = "on purpose " + std::to_string(payloads.below(1000));
  expectError("Java exception", "java.lang.IllegalStateException: " + text,
              [&] { m_host.Call("throw", text); });
  expectError("unknown handler", "Unknown handler 'nobody'",
              [&] { m_host.Call("nobody", payloads.next()); });
  expectError("malformed command", "Unknown command type 77", [&] {
    Bytes command = detail::header(Runtime::Jvm, kUnknownType, 0);
    detail::exchange(*m_receiver, command, "Java");
  });
  expectError("malformed command", "", [&] {
    Bytes command = detail::callCommand(Runtime::Jvm, "echo", {});
    command[detail::Header::kSize] = 200;  // a name longer than the command
    detail::exchange(*m_receiver, command, "Java");
    throw std::logic_error("accepted");
  });
}

void Program::failInTheLibrary() {
  expectError("library exception", "JVM Launcher: Exception code 017", [&] {
    std::uint8_t nothing = 0;
    m_receiver->ReadResponse(&nothing, 1);
  });
  expectError("library exception", "JVM Launcher: Exception code 004",
              [&] { m_host.LoadLibrary("/no-such-archive.jar"); });
}

void Program::nest(Payloads& payloads) {
  const auto depth = static_cast<std::uint8_t>(payloads.below(8));
  std::string expected;
  for (int level = depth; level >= 0; --level) {
    expected.insert(expected.begin(), (depth - level) % 2 == 0 ? 'J' : 'C');
  }
  expectBytes("nested", m_host.Call("down", Span(&depth, 1)), ToBytes(expected));
}

void Program::replaceHandlers(Payloads& payloads) {
  const auto cpp = [&](std::string_view handler, Span payload) {
    Bytes command = detail::callCommand(Runtime::Cpp, handler, payload);
    return detail::exchange(*m_transmitter, command, "C++");
  };
  const Bytes generation = cpp("replace", {});
  expectBytes("replaced C++ function", cpp("changing", {}), generation);
  expectBytes("threads of C++", cpp("threads", payloads.small()), ToBytes("3"));
}

void Program::loadAgain(Payloads& /*payloads*/) {
  for (const std::string& library : m_settings.libraries) {
    Bytes command = detail::loadLibraryCommand(Runtime::Cpp, library);
    detail::exchange(*m_transmitter, command, "C++");
    m_tally.command("load-library");
  }
  m_host.LoadLibrary(m_settings.archive);
  expectBytes("load-archives", m_host.Call("load-archives", m_settings.archive), {});
}

}  // namespace FerrolinkSoak

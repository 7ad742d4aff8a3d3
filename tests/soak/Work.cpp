// Work within the process.
#include "tests/soak/Work.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "ferrolink/Exchange.h"
#include "ferrolink/Library.h"
#include "ferrolink/protocol/Commands.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Soak {

using Ferrolink::Host::CallCommand;
using Ferrolink::Host::Runtime;
using Ferrolink::Host::ToBytes;
using Ferrolink::Host::ToText;
using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace {

constexpr std::uint8_t kUnknownType = 77;
constexpr int kBurst = 4;

std::filesystem::path NativeDirectory(const Settings& settings) {
  return std::filesystem::path(settings.root) / Host::kNativeDirectory;
}

}  // namespace

Program::Program(Settings settings)
    : m_settings(std::move(settings)),
      m_host({NativeDirectory(m_settings), ""}),
      m_receiver(Host::OpenReceiver(m_host.LibraryPath())) {
  m_host.LoadLibrary(m_settings.archive);
  m_host.Start();
  const auto cpp = NativeDirectory(m_settings) / Host::kCppLibrary;
  m_transmitter = Host::FunctionOf<Transmitter*(RuntimeOperationMode)>(
      Host::OpenLibrary(cpp), cpp, "CreateTransmitter")(RuntimeOperationMode::CallingRuntime);
  Payloads none(0);
  LoadAgain(none);
}

void Program::ExpectBytes(std::string_view kind, const Bytes& got, Span expected) {
  m_tally.Command(kind);
  if (!std::equal(got.begin(), got.end(), expected.begin(), expected.end())) {
    m_tally.Wrong(std::string(kind) + ": sent " + std::to_string(expected.size()) +
                  " bytes, got other " + std::to_string(got.size()));
  }
}

void Program::ExpectError(std::string_view kind, const std::string& start,
                          const std::function<void()>& action) {
  std::string text = "no error";
  try {
    action();
  } catch (const std::exception& error) {
    text = error.what();
  }
  m_tally.Command("failing");
  if (text.starts_with(start)) {
    m_tally.ExpectedError(kind);
  } else {
    m_tally.Wrong(std::string(kind) + ": " + text);
  }
}

void Program::CallOnThisThread(Payloads& payloads) {
  const Span payload = payloads.Next();
  ExpectBytes("Java", m_host.Call("echo", payload), payload);
  const Span small = payloads.Small();
  ExpectBytes("Java", m_host.Call("invert", small), Inverted(small));
}

void Program::CallUnread(Payloads& payloads) {
  const Span payload = payloads.Below(4) == 0 ? payloads.Largest() : payloads.Small();
  Bytes command = CallCommand(Runtime::Jvm, "echo", payload);
  const auto expected = static_cast<int>(payload.size() + Protocol::Header::kSize);
  if (m_receiver->SendCommand(command.data(), static_cast<int>(command.size())) != expected) {
    m_tally.Wrong("unread: another length");
  }
  m_tally.Command("left unread");
}

void Program::CallOnShortLivedThreads(Payloads& payloads) {
  std::vector<std::thread> threads;
  for (int number = 0; number < kBurst; ++number) {
    const bool large = payloads.Below(8) == 0;
    const Span payload = large ? payloads.Largest() : payloads.Small();
    const bool unread = payloads.Below(4) == 0;
    threads.emplace_back([&, payload, unread, seed = static_cast<unsigned>(payloads.Below(1000))] {
      try {
        if (unread) {
          Payloads own(seed);
          CallUnread(own);
        } else {
          ExpectBytes("short-lived thread", m_host.Call("echo", payload), payload);
        }
      } catch (const std::exception& error) {
        m_tally.Wrong(std::string("short-lived thread: ") + error.what());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void Program::FailOnPurpose(Payloads& payloads) {
  const std::string text = "on purpose " + std::to_string(payloads.Below(1000));
  ExpectError("Java exception", "java.lang.IllegalStateException: " + text,
              [&] { m_host.Call("throw", text); });
  ExpectError("unknown handler", "Unknown handler 'nobody'",
              [&] { m_host.Call("nobody", payloads.Next()); });
  ExpectError("malformed command", "Unknown command type 77", [&] {
    Bytes command = Protocol::EmptyCommand({.target = Runtime::Jvm}, kUnknownType);
    Host::Exchange(*m_receiver, command, "Java");
  });
  ExpectError("malformed command", "", [&] {
    Bytes command = CallCommand(Runtime::Jvm, "echo", {});
    command[Protocol::Header::kSize] = 200;  // a name longer than the command
    Host::Exchange(*m_receiver, command, "Java");
    throw std::logic_error("accepted");
  });
}

void Program::FailInTheLibrary() {
  ExpectError("library exception", "JVM Launcher: Exception code 017", [&] {
    std::uint8_t nothing = 0;
    m_receiver->ReadResponse(&nothing, 1);
  });
  ExpectError("library exception", "JVM Launcher: Exception code 004",
              [&] { m_host.LoadLibrary("/no-such-archive.jar"); });
}

void Program::Nest(Payloads& payloads) {
  const auto depth = static_cast<std::uint8_t>(payloads.Below(8));
  std::string expected;
  for (int level = depth; level >= 0; --level) {
    expected.insert(expected.begin(), (depth - level) % 2 == 0 ? 'J' : 'C');
  }
  ExpectBytes("nested", m_host.Call("down", Span(&depth, 1)), ToBytes(expected));
}

void Program::ReplaceHandlers(Payloads& payloads) {
  const auto cpp = [&](std::string_view handler, Span payload) {
    Bytes command = CallCommand(Runtime::Cpp, handler, payload);
    return Host::Exchange(*m_transmitter, command, "C++");
  };
  const Bytes generation = cpp("replace", {});
  ExpectBytes("replaced C++ function", cpp("changing", {}), generation);
  ExpectBytes("threads of C++", cpp("threads", payloads.Small()), ToBytes("3"));
}

void Program::LoadAgain(Payloads& /*payloads*/) {
  for (const std::string& library : m_settings.libraries) {
    Host::ExchangeLoadLibrary(*m_transmitter, Runtime::Cpp, library, "C++");
    m_tally.Command("load-library");
  }
  m_host.LoadLibrary(m_settings.archive);
  ExpectBytes("load-archives", m_host.Call("load-archives", m_settings.archive), {});
}

}  // namespace Ferrolink::Soak

// A C++ program that calls Java: what scripts/demo runs.
// usage: ferrolink-demo FILE HANDLER_ARCHIVE
// Exit code 0 only if everything that it shows held.
#include <openssl/evp.h>

#include <ferrolink/Host.h>
#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>

using Ferrolink::Host::Bytes;
using Ferrolink::Host::Host;

namespace {

void Heading(const char* text) {
  std::printf("\n== %s\n", text);
  std::fflush(stdout);
}

void Require(bool held, const std::string& what) {
  if (!held) {
    throw std::runtime_error("did not hold: " + what);
  }
}

Bytes ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Hexadecimal(const Bytes& bytes) {
  std::string text;
  for (const unsigned byte : bytes) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", byte);
    text += digits.data();
  }
  return text;
}

Bytes OwnDigest(const Bytes& data) {
  Bytes digest(EVP_MAX_MD_SIZE);
  unsigned size = 0;
  Require(EVP_Digest(data.data(), data.size(), digest.data(), &size, EVP_sha256(), nullptr) == 1,
          "OpenSSL computes a digest");
  digest.resize(size);
  return digest;
}

Bytes JavaDigest(Host& host, const std::string& algorithm, const Bytes& data) {
  Bytes payload;
  payload.push_back(static_cast<std::uint8_t>(algorithm.size()));
  payload.insert(payload.end(), algorithm.begin(), algorithm.end());
  payload.insert(payload.end(), data.begin(), data.end());
  return host.Call("digest", payload);
}

void DigestFile(Host& host, const std::string& path, const Bytes& data) {
  Heading("Java digests a file");
  const Bytes fromJava = JavaDigest(host, "SHA-256", data);
  std::printf("%s, %zu bytes\n  Java: %s\n  here: %s\n", path.c_str(), data.size(),
              Hexadecimal(fromJava).c_str(), Hexadecimal(OwnDigest(data)).c_str());
  Require(fromJava == OwnDigest(data), "both digests agree");
}

void CallUserHandler(Host& host, const std::string& archive, const Bytes& data) {
  Heading("A handler of the user's own, added while Java runs");
  host.LoadLibrary(archive);
  const std::string counts = Ferrolink::Host::ToText(host.Call("word-count", data));
  std::printf("%s\n  word-count answers: %s\n", archive.c_str(), counts.c_str());
  Require(!counts.empty(), "word-count answers");
}

void CallFromFourThreads(Host& host) {
  Heading("4 threads at once");
  constexpr int kThreads = 4;
  constexpr int kCalls = 2000;
  std::array<int, kThreads> right{};
  std::latch together(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      together.arrive_and_wait();
      for (int call = 0; call < kCalls; ++call) {
        const std::string text = "thread " + std::to_string(i) + " call " + std::to_string(call);
        right[i] += Ferrolink::Host::ToText(host.Call("echo", text)) == text ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (std::size_t i = 0; i < kThreads; ++i) {
    std::printf("  thread %zu: %d of %d answers are its own\n", i, right[i], kCalls);
    Require(right[i] == kCalls, "each thread reads its own answers");
  }
}

void ProvokeJavaException(Host& host) {
  Heading("A Java exception arrives as text, and the process goes on");
  try {
    JavaDigest(host, "NO-SUCH-DIGEST", {});
    throw std::logic_error("an unknown algorithm was accepted");
  } catch (const Ferrolink::Host::RemoteError& error) {
    std::printf("%s\n", error.what());
  }
  host.Heartbeat();
  std::printf("heartbeat: Java is well\n");
}

void MeasureCalls(Host& host) {
  Heading("Calls per second: echo of 64 bytes, one attached thread");
  constexpr int kCalls = 200'000;
  const Ferrolink::Host::ThreadAttachment attachment;
  const Bytes data(64, 0x2A);
  for (int call = 0; call < kCalls; ++call) {
    host.Call("echo", data);  // until the JVM has compiled the path
  }
  const auto start = std::chrono::steady_clock::now();
  for (int call = 0; call < kCalls; ++call) {
    Require(host.Call("echo", data) == data, "echo answers what it was sent");
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  std::printf("  %.0f calls per second (%.2f microseconds each)\n", kCalls / elapsed.count(),
              elapsed.count() * 1e6 / kCalls);
}

void Run(const std::string& path, const std::string& archive) {
  const Bytes data = ReadFile(path);
  Heading("Java starts in this process");
  Host host;
  std::printf("library: %s\n", host.LibraryPath().c_str());
  std::fflush(stdout);
  host.Start();
  std::printf("JVM found: %s\n", Ferrolink::Host::JvmLibraryPath().c_str());
  Require(!Ferrolink::Host::JvmLibraryPath().empty(), "a JVM runs in this process");
  DigestFile(host, path, data);
  CallUserHandler(host, archive, data);
  CallFromFourThreads(host);
  ProvokeJavaException(host);
  MeasureCalls(host);
  Heading("All of it held");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s FILE HANDLER_ARCHIVE\n", argv[0]);
    return 2;
  }
  try {
    Run(argv[1], argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "\nferrolink-demo: %s\n", error.what());
    return 1;
  }
}

// The C++ program of the soak: it calls Java, which the library starts, and servers. It takes
// orders from standard input: "rest" pauses the work, "sample" prints the figures, "go" resumes the
// work, "end" or the end of the input ends the program.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/soak/Work.h"

namespace Ferrolink::Soak {
namespace {

using Piece = void (Program::*)(Payloads&);
using Clock = std::chrono::steady_clock;

// Plants a fault that a soak must detect, to test it: any of memory, thread, descriptor and answer.
class Plant {
 public:
  explicit Plant(std::string what) : m_what(std::move(what)) {}

  void Grow(Program& program) {
    if (Has("memory")) {
      const auto due = std::chrono::duration<double>(Clock::now() - m_begin).count() * kLeakRate;
      for (; m_leaked < due; m_leaked += kLeakBlock) {
        m_kept.emplace_back(kLeakBlock, 'x');
      }
    }
    if (Has("thread")) {
      std::thread([] { pause(); }).detach();
    }
    if (Has("descriptor")) {
      static_cast<void>(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    if (Has("answer")) {
      program.GetTally().Wrong("planted");
    }
  }

 private:
  static constexpr double kLeakRate = 64 << 10;  // bytes per second
  static constexpr std::size_t kLeakBlock = 4096;

  [[nodiscard]] bool Has(std::string_view one) const {
    return m_what.find(one) != std::string::npos;
  }

  const std::string m_what;
  const Clock::time_point m_begin = Clock::now();
  double m_leaked = 0;
  std::vector<std::string> m_kept;
};

void RunPiece(Program& program, Gate& gate, Piece piece, unsigned seed) {
  Payloads payloads(seed);
  while (gate.Enter()) {
    try {
      (program.*piece)(payloads);
    } catch (const std::exception& error) {
      program.GetTally().Wrong(error.what());
    }
    gate.Leave();
  }
}

void WorkAttached(Program& program, Gate& gate, unsigned seed) {
  const Ferrolink::Host::ThreadAttachment attachment;
  RunPiece(program, gate, &Program::CallOnThisThread, seed);
}

std::vector<std::thread> StartWorkers(Program& program, Gate& gate) {
  std::vector<std::thread> workers;
  unsigned seed = 0;
  for (int number = 0; number < 2; ++number) {
    workers.emplace_back(WorkAttached, std::ref(program), std::ref(gate), ++seed);
  }
  for (const Piece piece : {&Program::CallOnThisThread, &Program::CallOnShortLivedThreads,
                            &Program::FailOnPurpose, &Program::Nest, &Program::ReplaceHandlers,
                            &Program::LoadAgain, &Program::CallServers, &Program::Reconnect}) {
    workers.emplace_back(RunPiece, std::ref(program), std::ref(gate), piece, ++seed);
  }
  return workers;
}

void Rest(Program& program, Gate& gate, Plant& plant, int rests) {
  constexpr int kRestsToALibraryError = 2;
  gate.Close();
  plant.Grow(program);
  if (rests % kRestsToALibraryError == 0) {
    program.FailInTheLibrary();
  }
  program.Settle();
}

void Obey(Program& program, Gate& gate, Plant& plant) {
  int rests = 0;
  for (std::string order; std::getline(std::cin, order) && order != "end";) {
    if (order == "rest") {
      Rest(program, gate, plant, ++rests);
      std::puts("SOAK rests");
    } else if (order == "sample") {
      std::printf("SOAK {%s,%s}\n", program.GetTally().Json().c_str(), program.Figures().c_str());
    } else {
      gate.Open();
    }
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace Ferrolink::Soak

int main(int argc, char** argv) {
  using namespace Ferrolink::Soak;
  if (argc != 8) {
    std::fprintf(stderr,
                 "usage: soak-host ROOT ARCHIVE TCP-PORT TLS-PORT PLANT PLUG-IN PLUG-IN\n"
                 "scripts/soak starts it.\n");
    return 2;
  }
  const auto port = [&](int index) {
    return static_cast<std::uint16_t>(std::strtoul(argv[index], nullptr, 10));
  };
  Program program({argv[1], {argv[6], argv[7]}, argv[2], port(3), port(4)});
  Gate gate;
  Plant plant(argv[5]);
  std::vector<std::thread> workers = StartWorkers(program, gate);
  Obey(program, gate, plant);
  gate.end();
  for (std::thread& worker : workers) {
    worker.join();
  }
  return 0;
}

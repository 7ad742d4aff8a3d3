#include "tests/faults/Forked.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace Ferrolink::Tests {
namespace {

constexpr char kNoteEnd = '\x1e';  // notes may hold line breaks

/// An unnamed file that parent and child share.
class SharedFile {
 public:
  SharedFile() : m_descriptor(memfd_create("forked", 0)) {
    if (m_descriptor < 0) {
      throw std::runtime_error("cannot create a file in memory");
    }
  }
  SharedFile(const SharedFile&) = delete;
  SharedFile& operator=(const SharedFile&) = delete;
  ~SharedFile() { close(m_descriptor); }

  [[nodiscard]] int Descriptor() const { return m_descriptor; }

  [[nodiscard]] std::string Contents() const {
    std::string text(static_cast<std::size_t>(lseek(m_descriptor, 0, SEEK_END)), '\0');
    const ssize_t got = pread(m_descriptor, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
  }

 private:
  const int m_descriptor;
};

int noteDescriptor = -1;

[[noreturn]] void RunChild(const std::function<void()>& body, int output, int notes,
                           unsigned limitSeconds) {
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  noteDescriptor = notes;
  alarm(limitSeconds);
  try {
    body();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "left by an exception: %s\n", error.what());
    _exit(70);
  }
  std::exit(0);
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> entries;
  std::size_t start = 0;
  for (std::size_t end = text.find(kNoteEnd); end != std::string::npos;
       end = text.find(kNoteEnd, start)) {
    entries.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return entries;
}

}  // namespace

std::string ForkedRun::Describe() const {
  std::string text = EndedWell()   ? "ended well"
                     : signal != 0 ? "ended by signal " + std::to_string(signal)
                                   : "ended with " + std::to_string(exitCode);
  for (const std::string& entry : notes) {
    text += "\n  note: " + entry;
  }
  return text + (output.empty() ? "" : "\n  output: " + output);
}

ForkedRun RunForked(const std::function<void()>& body, unsigned limitSeconds) {
  const SharedFile output;
  const SharedFile notes;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("cannot fork");
  }
  if (child == 0) {
    RunChild(body, output.Descriptor(), notes.Descriptor(), limitSeconds);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ForkedRun run;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  run.output = output.Contents();
  run.notes = Split(notes.Contents());
  return run;
}

void Note(const std::string& text) {
  const std::string entry = text + kNoteEnd;
  if (write(noteDescriptor, entry.data(), entry.size()) < 0) {
    _exit(74);
  }
}

}  // namespace Ferrolink::Tests

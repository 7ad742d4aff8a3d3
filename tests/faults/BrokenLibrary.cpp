#include "tests/faults/BrokenLibrary.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Ferrolink::Tests {

namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;
constexpr std::size_t kElfClass = 4;  // its place in an ELF header
constexpr std::size_t kHeaderAndABit = 100;

std::string Contents(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

void Write(const fs::path& file, const std::string& text) {
  std::ofstream(file, std::ios::binary) << text;
}

}  // namespace

const char* NameOf(Breakage breakage) {
  switch (breakage) {
    case Breakage::Missing:
      return "Missing";
    case Breakage::EmptyFile:
      return "EmptyFile";
    case Breakage::TextFile:
      return "TextFile";
    case Breakage::WrongElfClass:
      return "WrongElfClass";
    case Breakage::Truncated:
      return "Truncated";
    case Breakage::MissingSymbols:
      return "MissingSymbols";
    case Breakage::MissingDependency:
      return "MissingDependency";
    case Breakage::Unreadable:
      return "Unreadable";
    case Breakage::LinkLoop:
      return "LinkLoop";
    case Breakage::Directory:
      return "Directory";
    case Breakage::Fifo:
      return "Fifo";
  }
  return "";
}

void PlaceBroken(const fs::path& file, Breakage breakage, const fs::path& whole) {
  std::string bytes = Contents(whole);
  switch (breakage) {
    case Breakage::Missing:
      return;
    case Breakage::EmptyFile:
      return Write(file, "");
    case Breakage::TextFile:
      return Write(file, std::string(2000, 'x'));
    case Breakage::WrongElfClass:
      bytes.at(kElfClass) = 1;
      return Write(file, bytes);
    case Breakage::Truncated:
      return Write(file, bytes.substr(0, kHeaderAndABit));
    case Breakage::MissingSymbols:
      fs::copy_file(FAKEUTILSEMPTY_PATH, file);
      return;
    case Breakage::MissingDependency:
      fs::copy_file(FAKEDEPENDENT_PATH, file);
      return;
    case Breakage::Unreadable:
      Write(file, bytes);
      fs::permissions(file, fs::perms::none);
      return;
    case Breakage::LinkLoop:
      return fs::create_symlink(file, file);
    case Breakage::Directory:
      fs::create_directory(file);
      return;
    case Breakage::Fifo:
      if (mkfifo(file.c_str(), 0644) != 0) {
        throw std::runtime_error("cannot create a FIFO");
      }
      return;
  }
}

// A new file, not new contents of one that the loader may have in use.
void PutRight(const fs::path& file, const fs::path& whole) {
  fs::remove_all(file);
  fs::copy_file(whole, file);
}

std::string ReasonOf(Breakage breakage, const fs::path& file) {
  switch (breakage) {
    case Breakage::Missing:
    case Breakage::LinkLoop:
      return "File not found.";
    case Breakage::EmptyFile:
      return file.string() + ": file too short";
    case Breakage::TextFile:
      return file.string() + ": invalid ELF header";
    case Breakage::WrongElfClass:
      return file.string() + ": wrong ELF class: ELFCLASS32";
    case Breakage::Truncated:
      return file.string() + ": cannot read file data";
    case Breakage::MissingDependency:
      return "libFakeDependency.so: cannot open shared object file: No such file or directory";
    case Breakage::Unreadable:
      return file.string() + ": cannot open shared object file: Permission denied";
    case Breakage::Directory:
      return file.string() + ": cannot read file data: Is a directory";
    case Breakage::Fifo:
      return "Not a regular file.";
    case Breakage::MissingSymbols:
      break;
  }
  return "";
}

// The effective user alone: what the process has open and where it reports stays its own.
WithoutPrivileges::WithoutPrivileges() {
  if (getuid() == 0 && seteuid(kNobody) != 0) {
    throw std::runtime_error("cannot become nobody");
  }
}

WithoutPrivileges::~WithoutPrivileges() {
  if (getuid() == 0 && seteuid(0) != 0) {
    std::abort();
  }
}

}  // namespace Ferrolink::Tests

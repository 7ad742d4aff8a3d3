#include "companions/tool/Terminal.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <utility>

namespace Ferrolink::Companions::Tool {
namespace {

bool g_isSilent = false;  // not guarded: written before there are threads

bool HasColour(int descriptor) {
  const char* refused = std::getenv("NO_COLOR");
  const char* kind = std::getenv("TERM");
  return (refused == nullptr || *refused == '\0') && kind != nullptr &&
         std::string_view(kind) != "dumb" && isatty(descriptor) != 0;
}

const char* CodeOf(Style style) {
  switch (style) {
    case Style::Heading:
      return "\033[1m";
    case Style::Bad:
      return "\033[1;31m";
    case Style::Good:
      return "\033[32m";
    case Style::Faint:
      break;
  }
  return "\033[2m";
}

bool IsControl(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return (value < 0x20 && byte != '\n' && byte != '\t') || value == 0x7F;
}

}  // namespace

std::string Styled(int descriptor, Style style, std::string_view text) {
  std::string plain(text);
  return HasColour(descriptor) ? CodeOf(style) + plain + "\033[0m" : plain;
}

std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width) {
  std::string lines;
  std::size_t column = indent;
  for (std::size_t begin = 0; begin < text.size();) {
    if (text[begin] == '\n') {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
      ++begin;
      continue;
    }
    const std::size_t end = std::min(text.find_first_of(" \n", begin), text.size());
    const std::string_view word = text.substr(begin, end - begin);
    if (column > indent && column + 1 + word.size() > width) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (column > indent) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += word.size();
    begin = end < text.size() && text[end] == ' ' ? end + 1 : end;
  }
  return lines;
}

std::string Shown(std::string_view text) {
  static const std::regex secret(R"(([\w.\-]*(password|secret|token|credential)[\w.\-]*=)[^\s,]+)",
                                 std::regex::icase);
  std::string shown;
  for (const char byte : std::regex_replace(std::string(text), secret, "$1***")) {
    if (IsControl(byte)) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x",
                    static_cast<unsigned>(static_cast<unsigned char>(byte)));
      shown += escaped;
    } else {
      shown += byte;
    }
  }
  return shown;
}

void Progress::Silence() {
  g_isSilent = true;
}

Progress::Progress(std::string text) {
  if (!g_isSilent && isatty(STDERR_FILENO) != 0) {
    m_thread = std::thread([this, said = std::move(text)] { Run(said); });
  }
}

Progress::~Progress() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_over = true;
  }
  m_changed.notify_all();
  if (m_thread.joinable()) {
    m_thread.join();
  }
}

void Progress::Run(const std::string& text) {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (!m_changed.wait_for(lock, std::chrono::seconds(1), [this] { return m_over; })) {
    std::fprintf(stderr, "%s ...\n", text.c_str());
  }
}

}  // namespace Ferrolink::Companions::Tool

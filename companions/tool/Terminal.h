#ifndef FERROLINK_COMPANIONS_TOOL_TERMINAL_H
#define FERROLINK_COMPANIONS_TOOL_TERMINAL_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace Ferrolink::Companions::Tool {

enum class Style { Heading, Bad, Good, Faint };

/// The text in that style if the descriptor is a terminal and NO_COLOR is not set; else unchanged.
std::string Styled(int descriptor, Style style, std::string_view text);

/// The text in lines of at most `width` columns, all after the first one indented. Words are not
/// broken; line breaks of the text stay.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width = 96);

/// Replaces the values of options and keys that look like secrets, such as
/// -Dstore.password=secret, by ***. Bytes that are no printable text are escaped.
std::string Shown(std::string_view text);

/// Says on a terminal, on standard error, what takes longer than a second, while this object lives.
class Progress {
 public:
  /// Says nothing from now on in this process, for output that programs read. Thread rule: the
  /// process must have one thread.
  static void Silence();

  explicit Progress(std::string text);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

 private:
  void Run(const std::string& text);

  // Guarded by m_mutex.
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_over = false;

  std::thread m_thread;  // none unless standard error is a terminal
};

}  // namespace Ferrolink::Companions::Tool

#endif

// Captures what the extractor logs, so tests can assert messages, tags and priorities.
#pragma once

#include <string>
#include <vector>

namespace mkvtest {

struct LogLine {
  int prio;
  std::string tag;
  std::string text;
};

// Installs itself as the log sink for its lifetime.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<LogLine>& lines() const { return lines_; }
  // True when some line has exactly this text (and this tag and priority, when given).
  bool Has(const std::string& text) const;
  bool Has(int prio, const std::string& tag, const std::string& text) const;
  // All lines, one per row, for failure messages.
  std::string Dump() const;

 private:
  static void Sink(int prio, const char* tag, const char* text, void* user);
  std::vector<LogLine> lines_;
};

}  // namespace mkvtest

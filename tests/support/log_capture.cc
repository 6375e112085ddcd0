#include "log_capture.h"

#include <host/host_log.h>

namespace mkvtest {

LogCapture::LogCapture() {
  host_log_set_sink(&LogCapture::Sink, this);
}

LogCapture::~LogCapture() {
  host_log_set_sink(nullptr, nullptr);
}

void LogCapture::Sink(int prio, const char* tag, const char* text, void* user) {
  static_cast<LogCapture*>(user)->lines_.push_back({prio, tag, text});
}

bool LogCapture::Has(const std::string& text) const {
  for (const auto& line : lines_) {
    if (line.text == text) return true;
  }
  return false;
}

bool LogCapture::Has(int prio, const std::string& tag, const std::string& text) const {
  for (const auto& line : lines_) {
    if (line.prio == prio && line.tag == tag && line.text == text) return true;
  }
  return false;
}

std::string LogCapture::Dump() const {
  std::string out;
  for (const auto& line : lines_) {
    out += std::to_string(line.prio) + " [" + line.tag + "] " + line.text + "\n";
  }
  return out;
}

}  // namespace mkvtest

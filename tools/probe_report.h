// The two reports qmkvprobe prints: a summary for people and a JSON document for programs.
// Both are told the same events in the order the framework produces them.
#pragma once

#include <stdio.h>

#include <memory>
#include <string>

#include "probe_plugin.h"

namespace qmkvtools {

struct SniffInfo {
  std::string file;
  const Plugin* plugin = nullptr;
  bool claimed = false;
  float confidence = 0;
};

class Report : public PacketSink {
 public:
  // Once, first.
  virtual void Sniffed(const SniffInfo& sniff) = 0;
  // Once the extractor is open: its container metadata (as filled, even when getMetaData
  // failed) and its track count. Not called when there is no extractor.
  virtual void Opened(AMediaFormat* metadata, media_status_t status, size_t tracks) = 0;
  // Per track reported, in index order: its format, then its packets, then how reading ended.
  virtual void TrackFormat(size_t index, AMediaFormat* format, media_status_t status) = 0;
  virtual void TrackRead(const TrackResult& result) = 0;
  // Once, last, whatever happened before.
  virtual void Finish() = 0;
};

// The JSON document hashes every payload; the summary only counts.
std::unique_ptr<Report> MakeJsonReport(FILE* out);
std::unique_ptr<Report> MakeTextReport(FILE* out);

// JSON building blocks, shared with the checks.
std::string JsonQuote(const std::string& text);
std::string JsonReal(double value, bool single_precision);
std::string HexOf(const uint8_t* data, size_t size);

}  // namespace qmkvtools

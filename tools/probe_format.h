// The entries of an AMediaFormat in insertion order, each with its value, for the reports.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include <media/NdkMediaFormat.h>

namespace qmkvtools {

struct FormatEntry {
  enum Kind { kInt32, kInt64, kSize, kFloat, kDouble, kString, kBuffer, kRect, kUnreadable };
  std::string name;
  Kind kind = kUnreadable;
  int64_t integer = 0;             // int32, int64, size
  double real = 0;                 // float, double
  std::string text;                // string
  const uint8_t* bytes = nullptr;  // buffer: owned by the format, valid while it lives
  size_t size = 0;
  int32_t rect[4] = {0, 0, 0, 0};  // left, top, right, bottom
};

std::vector<FormatEntry> FormatEntries(AMediaFormat* format);

// The entry with that name, or null.
const FormatEntry* FindEntry(const std::vector<FormatEntry>& entries, const char* name);

}  // namespace qmkvtools

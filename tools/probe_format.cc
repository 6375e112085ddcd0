#include "probe_format.h"

#include <string.h>

#include <host/host_media_format.h>

namespace qmkvtools {
namespace {

// The getters are type-strict, so exactly one of them finds a given entry: the value is read
// the way the framework reads it, whatever type the plug-in stored.
FormatEntry ReadEntry(AMediaFormat* format, const char* name) {
  FormatEntry e;
  e.name = name;
  int32_t i32 = 0;
  int64_t i64 = 0;
  size_t sz = 0;
  float f = 0;
  double d = 0;
  const char* text = nullptr;
  void* data = nullptr;
  if (AMediaFormat_getInt32(format, name, &i32)) {
    e.kind = FormatEntry::kInt32;
    e.integer = i32;
  } else if (AMediaFormat_getInt64(format, name, &i64)) {
    e.kind = FormatEntry::kInt64;
    e.integer = i64;
  } else if (AMediaFormat_getSize(format, name, &sz)) {
    e.kind = FormatEntry::kSize;
    e.integer = static_cast<int64_t>(sz);
  } else if (AMediaFormat_getFloat(format, name, &f)) {
    e.kind = FormatEntry::kFloat;
    e.real = f;
  } else if (AMediaFormat_getDouble(format, name, &d)) {
    e.kind = FormatEntry::kDouble;
    e.real = d;
  } else if (AMediaFormat_getString(format, name, &text)) {
    e.kind = FormatEntry::kString;
    e.text = text ? text : "";
  } else if (AMediaFormat_getBuffer(format, name, &data, &sz)) {
    e.kind = FormatEntry::kBuffer;
    e.bytes = static_cast<const uint8_t*>(data);
    e.size = sz;
  } else if (AMediaFormat_getRect(format, name, &e.rect[0], &e.rect[1], &e.rect[2], &e.rect[3])) {
    e.kind = FormatEntry::kRect;
  }
  return e;
}

}  // namespace

std::vector<FormatEntry> FormatEntries(AMediaFormat* format) {
  std::vector<FormatEntry> entries;
  if (!format) return entries;
  const size_t count = host_format_count(format);
  for (size_t i = 0; i < count; ++i) {
    const char* name = nullptr;
    host_format_type type;
    if (!host_format_entry(format, i, &name, &type) || !name) continue;
    entries.push_back(ReadEntry(format, name));
  }
  return entries;
}

const FormatEntry* FindEntry(const std::vector<FormatEntry>& entries, const char* name) {
  for (const FormatEntry& e : entries) {
    if (e.name == name) return &e;
  }
  return nullptr;
}

}  // namespace qmkvtools

#include "ffprobe_ref.h"

#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include <nlohmann/json.hpp>

namespace mkvtest {
namespace {

bool ReadText(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  text->assign(std::istreambuf_iterator<char>(in), {});
  return true;
}

bool ToInt(const std::string& s, int64_t* value) {
  if (s.empty()) return false;
  char* end = nullptr;
  long long v = strtoll(s.c_str(), &end, 10);
  if (*end != '\0') return false;
  *value = v;
  return true;
}

std::string At(int line, const std::string& what) {
  return "line " + std::to_string(line) + ": " + what;
}

// The CSV fields in ffprobe's order; codec_type is not among them. A packet with side data
// (Opus skip samples) has that between the flags and the hash, which then opens the next line.
std::string ParseCsvRecord(const std::string& record, int line, RefPacket* p) {
  std::vector<std::string> f;
  std::stringstream in(record);
  std::string field;
  while (std::getline(in, field, ',')) f.push_back(field);
  if (f.size() < 8) return At(line, "fewer than 8 fields");
  int64_t v;
  if (!ToInt(f[0], &v)) return At(line, "bad stream_index");
  p->stream = static_cast<int>(v);
  if (f[1] != "N/A") {
    if (!ToInt(f[1], &p->pts)) return At(line, "bad pts");
    p->has_pts = true;
  }
  if (f[2] != "N/A") {
    if (!ToInt(f[2], &p->dts)) return At(line, "bad dts");
    p->has_dts = true;
  }
  if (!ToInt(f[4], &v) || v < 0 || v > UINT32_MAX) return At(line, "bad size");
  p->size = static_cast<uint32_t>(v);
  if (f[5] != "N/A" && !ToInt(f[5], &p->pos)) return At(line, "bad pos");
  p->key = f[6].find('K') != std::string::npos;
  const std::string& hash = f.back();
  if (hash.compare(0, 4, "MD5:") != 0 || hash.size() != 36) return At(line, "bad data_hash");
  p->md5 = hash.substr(4);
  p->line = line;
  return "";
}

// "n/d" (a time base, or a chromaticity as ffprobe prints it) or a plain number, as a double.
bool Ratio(const nlohmann::json& v, int64_t* num, int64_t* den) {
  if (v.is_number_integer()) {
    *num = v.get<int64_t>();
    *den = 1;
    return true;
  }
  if (!v.is_string()) return false;
  const std::string text = v.get<std::string>();
  const size_t slash = text.find('/');
  *den = 1;
  return ToInt(text.substr(0, slash), num) &&
         (slash == std::string::npos || (ToInt(text.substr(slash + 1), den) && *den != 0));
}

// A number that ffprobe may print quoted ("sample_rate": "48000"); 0 when absent.
int64_t Number(const nlohmann::json& stream, const char* key) {
  int64_t num = 0, den = 1;
  if (!stream.contains(key) || !Ratio(stream[key], &num, &den)) return 0;
  return num / den;
}

}  // namespace

std::string ParsePacketsCsv(const std::string& text, std::vector<RefPacket>* out) {
  out->clear();
  std::stringstream in(text);
  std::string line, record;
  int record_line = 0;
  auto flush = [&]() -> std::string {
    if (record.empty()) return "";
    RefPacket p;
    std::string error = ParseCsvRecord(record, record_line, &p);
    if (error.empty()) out->push_back(p);
    record.clear();
    return error;
  };
  for (int number = 1; std::getline(in, line); ++number) {
    if (line.empty()) continue;
    if (line[0] == ',' && !record.empty()) {
      record += line;
      continue;
    }
    std::string error = flush();
    if (!error.empty()) return error;
    record = line;
    record_line = number;
  }
  return flush();
}

std::string ParseStreams(const std::string& text, std::vector<RefStream>* out) {
  static const char* const kHdrKeys[] = {"max_content",   "max_average",   "red_x",
                                         "red_y",         "green_x",       "green_y",
                                         "blue_x",        "blue_y",        "white_point_x",
                                         "white_point_y", "min_luminance", "max_luminance"};
  out->clear();
  const nlohmann::json doc = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (doc.is_discarded() || !doc.contains("streams") || !doc["streams"].is_array()) {
    return "not ffprobe's JSON with streams";
  }
  try {
    for (const nlohmann::json& j : doc["streams"]) {
      RefStream s;
      s.index = j.value("index", -1);
      s.codec_type = j.value("codec_type", "");
      s.codec_name = j.value("codec_name", "");
      if (!Ratio(j.value("time_base", nlohmann::json()), &s.time_base_num, &s.time_base_den) ||
          s.time_base_num <= 0 || s.time_base_den <= 0) {
        return "stream " + std::to_string(s.index) + ": bad time_base";
      }
      s.width = Number(j, "width");
      s.height = Number(j, "height");
      s.sample_rate = Number(j, "sample_rate");
      s.channels = Number(j, "channels");
      s.language = j.value("tags", nlohmann::json::object()).value("language", "");
      s.attached_pic =
          j.value("disposition", nlohmann::json::object()).value("attached_pic", 0) == 1;
      s.sample_aspect_ratio = j.value("sample_aspect_ratio", "");
      s.color_range = j.value("color_range", "");
      s.color_space = j.value("color_space", "");
      s.color_transfer = j.value("color_transfer", "");
      for (const nlohmann::json& side : j.value("side_data_list", nlohmann::json::array())) {
        for (const char* key : kHdrKeys) {
          int64_t num = 0, den = 1;
          if (!side.contains(key)) continue;
          if (!Ratio(side[key], &num, &den)) return std::string("bad ") + key;
          s.hdr[key] = static_cast<double>(num) / static_cast<double>(den);
        }
      }
      if (s.index != static_cast<int>(out->size())) return "streams out of order";
      out->push_back(s);
    }
  } catch (const nlohmann::json::exception& e) {
    return e.what();
  }
  return out->empty() ? "no streams" : "";
}

std::string LoadFfprobeRef(const std::string& base, FfprobeRef* out) {
  std::string packets, streams;
  if (!ReadText(base + ".packets.csv", &packets)) return "cannot read " + base + ".packets.csv";
  if (!ReadText(base + ".streams.json", &streams)) return "cannot read " + base + ".streams.json";
  std::string error = ParsePacketsCsv(packets, &out->packets);
  if (!error.empty()) return base + ".packets.csv " + error;
  error = ParseStreams(streams, &out->streams);
  return error.empty() ? "" : base + ".streams.json " + error;
}

std::vector<RefPacket> FfprobeRef::PacketsOf(int stream) const {
  std::vector<RefPacket> of;
  for (const RefPacket& p : packets) {
    if (p.stream == stream) of.push_back(p);
  }
  return of;
}

const RefStream* FfprobeRef::Stream(int index) const {
  for (const RefStream& s : streams) {
    if (s.index == index) return &s;
  }
  return nullptr;
}

bool PtsTo100ns(int64_t pts, int64_t num, int64_t den, int64_t* floor, bool* exact) {
  const int64_t kPerSecond = 10000000;
  if (num <= 0 || den <= 0 || num > INT64_MAX / kPerSecond) return false;
  int64_t scale = num * kPerSecond;
  if (pts > INT64_MAX / scale || pts < -(INT64_MAX / scale)) return false;
  int64_t product = pts * scale;
  int64_t q = product / den;
  if (product % den != 0 && product < 0) --q;  // round toward minus infinity
  *floor = q;
  *exact = product % den == 0;
  return true;
}

int64_t PtsToMicros(int64_t pts, const RefStream& s) {
  int64_t t100 = 0;
  bool exact = false;
  if (!PtsTo100ns(pts, s.time_base_num, s.time_base_den, &t100, &exact)) return INT64_MIN;
  return t100 >= 0 ? t100 / 10 : -((-t100 + 9) / 10);
}

}  // namespace mkvtest

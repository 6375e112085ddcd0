// The ffprobe references committed beside the real test files (tests/data/refs.sh), read back
// into plain records: the streams from NAME.streams.json (-show_streams -show_format -of json),
// the packets from NAME.packets.csv (stream_index,pts,dts,duration,size,pos,flags,data_hash).
#pragma once

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

namespace mkvtest {

struct RefPacket {
  int stream = -1;
  bool has_pts = false;  // false where ffprobe printed N/A
  int64_t pts = 0;       // in the stream's time base
  bool has_dts = false;
  int64_t dts = 0;
  uint32_t size = 0;
  int64_t pos = -1;  // laces of one block share it; -1 where ffprobe has none (attachments)
  bool key = false;  // 'K' in flags
  std::string md5;   // lower-case hex
  int line = 0;      // 1-based line in the packets file, for messages
};

struct RefStream {
  int index = -1;
  std::string codec_type;  // "video", "audio", "subtitle", "attachment", ...
  std::string codec_name;
  int64_t time_base_num = 0;
  int64_t time_base_den = 0;
  int64_t width = 0, height = 0;          // video; 0 when not given
  int64_t sample_rate = 0, channels = 0;  // audio; 0 when not given
  std::string language;                   // the "language" tag; empty when not given
  bool attached_pic = false;  // a picture attachment ffprobe shows as a one-packet video stream
  // Colour, as ffprobe names it ("tv", "bt2020nc", "smpte2084"); empty when not given.
  std::string color_range, color_space, color_transfer;
  std::string sample_aspect_ratio;  // "N:D", empty where ffprobe gives none
  // HDR side data: max_content, max_average (cd/m2), red_x ... white_point_y (chromaticity),
  // min_luminance, max_luminance (cd/m2); absent keys are not in the map.
  std::map<std::string, double> hdr;
};

struct FfprobeRef {
  std::vector<RefStream> streams;
  std::vector<RefPacket> packets;  // in file order

  std::vector<RefPacket> PacketsOf(int stream) const;
  const RefStream* Stream(int index) const;
};

// Parses the two texts. Returns an empty string, or what was wrong (with a line number).
std::string ParsePacketsCsv(const std::string& text, std::vector<RefPacket>* out);
std::string ParseStreams(const std::string& json, std::vector<RefStream>* out);

// Reads BASE.packets.csv and BASE.streams.json (BASE keeps the file's own suffix: ref/NAME.mkv).
std::string LoadFfprobeRef(const std::string& base, FfprobeRef* out);

// pts in time base num/den as 100-ns units: *floor is the value rounded down, *exact tells
// whether no rounding was needed. False when the product would overflow.
bool PtsTo100ns(int64_t pts, int64_t num, int64_t den, int64_t* floor, bool* exact);

// The same in microseconds, rounded down; INT64_MIN when it cannot be computed.
int64_t PtsToMicros(int64_t pts, const RefStream& stream);

}  // namespace mkvtest

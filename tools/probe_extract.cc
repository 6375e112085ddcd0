#include "probe_extract.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <vector>

namespace qmkvtools {
namespace {

std::vector<uint8_t> BufferOf(AMediaFormat* format, const char* name) {
  void* data = nullptr;
  size_t size = 0;
  if (!AMediaFormat_getBuffer(format, name, &data, &size) || !data) return {};
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  return std::vector<uint8_t>(bytes, bytes + size);
}

void PutLe(uint8_t* at, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

// A file written front to back; the first failure sticks.
class FileWriter : public PayloadWriter {
 public:
  bool Open(const std::string& path, std::string* error) {
    file_ = fopen(path.c_str(), "wb");
    if (!file_) *error = "cannot create " + path + ": " + strerror(errno);
    return file_ != nullptr;
  }
  ~FileWriter() override {
    if (file_) fclose(file_);
  }
  bool Close(std::string* error) override {
    Finish();
    const bool closed = fclose(file_) == 0;
    file_ = nullptr;
    if (!failure_.empty())
      *error = failure_;
    else if (!closed)
      *error = std::string("writing failed: ") + strerror(errno);
    return failure_.empty() && closed;
  }

 protected:
  void Write(const void* data, size_t size) {
    if (size > 0 && fwrite(data, 1, size, file_) != size && failure_.empty()) {
      failure_ = std::string("writing failed: ") + strerror(errno);
    }
  }
  void Write(const std::vector<uint8_t>& bytes) { Write(bytes.data(), bytes.size()); }
  void Fail(const std::string& why) {
    if (failure_.empty()) failure_ = why;
  }
  virtual void Finish() {}
  FILE* file_ = nullptr;

 private:
  std::string failure_;
};

// Payloads back to back, after an optional header (the codec configuration a raw stream
// carries in front: Annex-B parameter sets, MPEG headers, the FLAC stream header).
class RawWriter : public FileWriter {
 public:
  explicit RawWriter(std::vector<uint8_t> header) : header_(std::move(header)) {}
  bool Start() {
    Write(header_);
    return true;
  }
  void Packet(const PacketView& p) override { Write(p.data, p.size); }

 private:
  std::vector<uint8_t> header_;
};

// IVF: a 32-byte file header, then per frame a 12-byte header (size, timestamp) and the frame.
// Timestamps are the packet times in microseconds (time base 1/1000000).
class IvfWriter : public FileWriter {
 public:
  IvfWriter(const char* fourcc, int32_t width, int32_t height)
      : fourcc_(fourcc), width_(width), height_(height) {}
  void Start() { WriteHeader(); }
  void Packet(const PacketView& p) override {
    if (p.size > UINT32_MAX) return Fail("frame too large for IVF");
    uint8_t header[12];
    PutLe(header, p.size, 4);
    PutLe(header + 4, static_cast<uint64_t>(p.has_time ? p.time_us : 0), 8);
    Write(header, sizeof(header));
    Write(p.data, p.size);
    frames_++;
  }

 protected:
  void Finish() override {
    // The frame count is only known at the end.
    if (fseek(file_, 0, SEEK_SET) != 0) return Fail("cannot rewrite the IVF header");
    WriteHeader();
  }

 private:
  void WriteHeader() {
    uint8_t h[32] = {'D', 'K', 'I', 'F'};
    PutLe(h + 4, 0, 2);   // version
    PutLe(h + 6, 32, 2);  // header size
    memcpy(h + 8, fourcc_, 4);
    PutLe(h + 12, static_cast<uint16_t>(width_), 2);
    PutLe(h + 14, static_cast<uint16_t>(height_), 2);
    PutLe(h + 16, 1000000, 4);  // time base denominator
    PutLe(h + 20, 1, 4);        // numerator
    PutLe(h + 24, frames_, 4);
    Write(h, sizeof(h));
  }
  const char* fourcc_;
  int32_t width_, height_;
  uint32_t frames_ = 0;
};

// MSB-first bits of an AudioSpecificConfig.
class Bits {
 public:
  explicit Bits(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}
  uint32_t Read(int count) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i, ++at_) {
      const size_t byte = at_ / 8;
      if (byte >= bytes_.size()) {
        overrun_ = true;
        return 0;
      }
      value = (value << 1) | ((bytes_[byte] >> (7 - at_ % 8)) & 1);
    }
    return value;
  }
  bool overrun() const { return overrun_; }

 private:
  const std::vector<uint8_t>& bytes_;
  size_t at_ = 0;
  bool overrun_ = false;
};

const uint32_t kAacRates[13] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                22050, 16000, 12000, 11025, 8000,  7350};

uint32_t ReadObjectType(Bits* bits) {
  const uint32_t type = bits->Read(5);
  return type == 31 ? 32 + bits->Read(6) : type;
}

// A sampling frequency index; an explicit rate is mapped back to its index when it has one.
int ReadRateIndex(Bits* bits) {
  const uint32_t index = bits->Read(4);
  if (index != 15) return static_cast<int>(index);
  const uint32_t rate = bits->Read(24);
  for (int i = 0; i < 13; ++i) {
    if (kAacRates[i] == rate) return i;
  }
  return -1;
}

struct AdtsConfig {
  uint32_t profile = 0;  // object type - 1
  uint32_t rate_index = 0;
  uint32_t channels = 0;
};

// The core AAC configuration of an AudioSpecificConfig: with explicit SBR or PS the ADTS
// header describes the core (the decoder finds the extension in the stream).
bool ParseAdtsConfig(const std::vector<uint8_t>& asc, AdtsConfig* config, std::string* error) {
  Bits bits(asc);
  uint32_t type = ReadObjectType(&bits);
  const int rate_index = ReadRateIndex(&bits);
  const uint32_t channels = bits.Read(4);
  if (type == 5 || type == 29) {
    ReadRateIndex(&bits);
    type = ReadObjectType(&bits);
  }
  if (bits.overrun()) {
    *error = "AAC csd-0 is too short for an AudioSpecificConfig";
    return false;
  }
  if (type < 1 || type > 4) {
    *error = "AAC object type " + std::to_string(type) + " has no ADTS profile";
    return false;
  }
  if (rate_index < 0 || rate_index > 12) {
    *error = "AAC sampling rate has no ADTS index";
    return false;
  }
  if (channels < 1 || channels > 7) {
    *error = "AAC channel configuration " + std::to_string(channels) + " has no ADTS form";
    return false;
  }
  config->profile = type - 1;
  config->rate_index = static_cast<uint32_t>(rate_index);
  config->channels = channels;
  return true;
}

// AAC raw data blocks, each behind a 7-byte ADTS header (MPEG-4, no CRC).
class AdtsWriter : public FileWriter {
 public:
  explicit AdtsWriter(const AdtsConfig& config) : config_(config) {}
  void Packet(const PacketView& p) override {
    const size_t length = p.size + 7;
    if (length > 0x1FFF) return Fail("AAC frame too large for ADTS");
    const uint8_t header[7] = {
        0xFF,
        0xF1,  // sync, MPEG-4, layer 0, no CRC
        static_cast<uint8_t>(config_.profile << 6 | config_.rate_index << 2 |
                             config_.channels >> 2),
        static_cast<uint8_t>((config_.channels & 3) << 6 | length >> 11),
        static_cast<uint8_t>(length >> 3),
        static_cast<uint8_t>((length & 7) << 5 | 0x1F),  // buffer fullness 0x7FF: variable rate
        0xFC,                                            // one raw data block
    };
    Write(header, sizeof(header));
    Write(p.data, p.size);
  }

 private:
  AdtsConfig config_;
};

// Annex-B parameter sets in front of the frames, as given (csd-0 then csd-1).
std::vector<uint8_t> AnnexBHeader(AMediaFormat* format) {
  std::vector<uint8_t> header = BufferOf(format, AMEDIAFORMAT_KEY_CSD_0);
  const std::vector<uint8_t> csd1 = BufferOf(format, AMEDIAFORMAT_KEY_CSD_1);
  header.insert(header.end(), csd1.begin(), csd1.end());
  return header;
}

// "fLaC" and the stream header (STREAMINFO and any further metadata blocks).
bool FlacHeader(AMediaFormat* format, std::vector<uint8_t>* header, std::string* error) {
  const std::vector<uint8_t> csd0 = BufferOf(format, AMEDIAFORMAT_KEY_CSD_0);
  if (csd0.empty()) {
    *error = "FLAC track has no csd-0";
    return false;
  }
  if (csd0.size() < 4 || memcmp(csd0.data(), "fLaC", 4) != 0) {
    header->assign({'f', 'L', 'a', 'C'});
  }
  header->insert(header->end(), csd0.begin(), csd0.end());
  return true;
}

template <typename Writer>
std::unique_ptr<PayloadWriter> Opened(std::unique_ptr<Writer> writer, const std::string& path,
                                      std::string* error) {
  if (!writer->Open(path, error)) return nullptr;
  return std::unique_ptr<PayloadWriter>(std::move(writer));
}

}  // namespace

const char* ContainerFor(const char* mime) {
  static const struct {
    const char* mime;
    const char* container;
  } kContainers[] = {
      {"video/avc", "annexb"},        {"video/hevc", "annexb"}, {"video/x-vnd.on2.vp8", "ivf"},
      {"video/x-vnd.on2.vp9", "ivf"}, {"video/av01", "ivf"},    {"audio/mp4a-latm", "adts"},
      {"audio/flac", "flac"},         {"video/mp4v-es", "es"},  {"video/mpeg2", "es"},
  };
  for (const auto& c : kContainers) {
    if (mime && strcmp(mime, c.mime) == 0) return c.container;
  }
  return "raw";
}

std::unique_ptr<PayloadWriter> MakePayloadWriter(AMediaFormat* format, const std::string& path,
                                                 std::string* error) {
  const char* mime = nullptr;
  AMediaFormat_getString(format, AMEDIAFORMAT_KEY_MIME, &mime);
  const std::string container = ContainerFor(mime);
  int32_t is_adts = 0;
  if (container == "adts" &&
      !(AMediaFormat_getInt32(format, AMEDIAFORMAT_KEY_IS_ADTS, &is_adts) && is_adts)) {
    AdtsConfig config;
    if (!ParseAdtsConfig(BufferOf(format, AMEDIAFORMAT_KEY_CSD_0), &config, error)) {
      return nullptr;
    }
    return Opened(std::unique_ptr<AdtsWriter>(new AdtsWriter(config)), path, error);
  }
  if (container == "ivf") {
    static const struct {
      const char* mime;
      const char* fourcc;
    } kFourccs[] = {
        {"video/x-vnd.on2.vp8", "VP80"}, {"video/x-vnd.on2.vp9", "VP90"}, {"video/av01", "AV01"}};
    const char* fourcc = "";
    for (const auto& f : kFourccs) {
      if (strcmp(mime, f.mime) == 0) fourcc = f.fourcc;
    }
    int32_t width = 0, height = 0;
    AMediaFormat_getInt32(format, AMEDIAFORMAT_KEY_WIDTH, &width);
    AMediaFormat_getInt32(format, AMEDIAFORMAT_KEY_HEIGHT, &height);
    std::unique_ptr<IvfWriter> ivf(new IvfWriter(fourcc, width, height));
    if (!ivf->Open(path, error)) return nullptr;
    ivf->Start();
    return std::unique_ptr<PayloadWriter>(std::move(ivf));
  }
  std::vector<uint8_t> header;
  if (container == "annexb") header = AnnexBHeader(format);
  // MPEG-4 visual and MPEG-2 frames leave the stream headers (visual object sequence and
  // object layer, sequence header) to csd-0; a decoder reading the bare stream needs them
  // first. Without csd-0 the frames are assumed to carry them.
  if (container == "es") header = BufferOf(format, AMEDIAFORMAT_KEY_CSD_0);
  if (container == "flac" && !FlacHeader(format, &header, error)) return nullptr;
  std::unique_ptr<RawWriter> raw(new RawWriter(std::move(header)));
  if (!raw->Open(path, error)) return nullptr;
  raw->Start();
  return std::unique_ptr<PayloadWriter>(std::move(raw));
}

}  // namespace qmkvtools

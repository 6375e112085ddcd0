// The host AMediaFormat: entries in insertion order, replaced in place (value and type) when set
// again, read back only as the type they were stored with, at most 64 names. Strings handed out
// by getString stay valid until the next getString of the same key or the format's deletion;
// buffers are shared between copies.
#include <media/NdkMediaFormat.h>

#include <host/host_media_format.h>

#include <android/log.h>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

const size_t kMaxEntries = 64;

enum class Type { kInt32, kInt64, kFloat, kDouble, kSize, kRect, kString, kBuffer };

struct Entry {
  std::string name;
  Type type = Type::kInt32;
  int64_t i = 0;  // int32, int64, size
  double d = 0;   // float, double
  int32_t rect[4] = {0, 0, 0, 0};
  std::string text;
  std::shared_ptr<const std::vector<uint8_t>> bytes;
};

}  // namespace

struct AMediaFormat {
  std::vector<Entry> entries;
  std::map<std::string, std::unique_ptr<std::string>> handed_out;  // getString copies
  std::string text;                                                // toString
};

namespace {

Entry* Find(AMediaFormat* f, const char* name, Type type) {
  if (!f || !name) return nullptr;
  for (Entry& e : f->entries) {
    if (e.name == name) return e.type == type ? &e : nullptr;
  }
  return nullptr;
}

// The entry for `name`, created at the end when new; its old value is dropped.
Entry* Slot(AMediaFormat* f, const char* name, Type type) {
  for (Entry& e : f->entries) {
    if (e.name == name) {
      e = Entry();
      e.name = name;
      e.type = type;
      return &e;
    }
  }
  if (f->entries.size() >= kMaxEntries) {
    __android_log_assert("mNumItems < kMaxNumItems", "AMessage", "too many entries in a format");
  }
  f->entries.emplace_back();
  f->entries.back().name = name;
  f->entries.back().type = type;
  return &f->entries.back();
}

std::string Describe(const Entry& e) {
  char v[96];
  switch (e.type) {
    case Type::kInt32: snprintf(v, sizeof(v), "int32(%" PRId64 ")", e.i); break;
    case Type::kInt64: snprintf(v, sizeof(v), "int64(%" PRId64 ")", e.i); break;
    case Type::kSize: snprintf(v, sizeof(v), "size_t(%" PRId64 ")", e.i); break;
    case Type::kFloat: snprintf(v, sizeof(v), "float(%f)", e.d); break;
    case Type::kDouble: snprintf(v, sizeof(v), "double(%f)", e.d); break;
    case Type::kRect:
      snprintf(v, sizeof(v), "Rect(%d, %d, %d, %d)", e.rect[0], e.rect[1], e.rect[2], e.rect[3]);
      break;
    case Type::kString: return e.name + ": string(" + e.text + ")";
    case Type::kBuffer: return e.name + ": data";
  }
  return e.name + ": " + v;
}

}  // namespace

extern "C" {

AMediaFormat* AMediaFormat_new() {
  return new AMediaFormat();
}

media_status_t AMediaFormat_delete(AMediaFormat* format) {
  delete format;
  return AMEDIA_OK;
}

void AMediaFormat_clear(AMediaFormat* format) {
  format->entries.clear();
}

media_status_t AMediaFormat_copy(AMediaFormat* to, AMediaFormat* from) {
  if (!to || !from) return AMEDIA_ERROR_INVALID_PARAMETER;
  if (to != from) to->entries = from->entries;  // buffers are shared, strings copied
  return AMEDIA_OK;
}

const char* AMediaFormat_toString(AMediaFormat* format) {
  std::string out;
  for (const Entry& e : format->entries) {
    if (!out.empty()) out += ", ";
    out += Describe(e);
  }
  format->text = out + "}";
  return format->text.c_str();
}

bool AMediaFormat_getInt32(AMediaFormat* format, const char* name, int32_t* out) {
  const Entry* e = Find(format, name, Type::kInt32);
  if (e) *out = static_cast<int32_t>(e->i);
  return e != nullptr;
}

bool AMediaFormat_getInt64(AMediaFormat* format, const char* name, int64_t* out) {
  const Entry* e = Find(format, name, Type::kInt64);
  if (e) *out = e->i;
  return e != nullptr;
}

bool AMediaFormat_getFloat(AMediaFormat* format, const char* name, float* out) {
  const Entry* e = Find(format, name, Type::kFloat);
  if (e) *out = static_cast<float>(e->d);
  return e != nullptr;
}

bool AMediaFormat_getDouble(AMediaFormat* format, const char* name, double* out) {
  const Entry* e = Find(format, name, Type::kDouble);
  if (e) *out = e->d;
  return e != nullptr;
}

bool AMediaFormat_getSize(AMediaFormat* format, const char* name, size_t* out) {
  const Entry* e = Find(format, name, Type::kSize);
  if (e) *out = static_cast<size_t>(e->i);
  return e != nullptr;
}

bool AMediaFormat_getRect(AMediaFormat* format, const char* name, int32_t* left, int32_t* top,
                          int32_t* right, int32_t* bottom) {
  const Entry* e = Find(format, name, Type::kRect);
  if (!e) return false;
  *left = e->rect[0];
  *top = e->rect[1];
  *right = e->rect[2];
  *bottom = e->rect[3];
  return true;
}

bool AMediaFormat_getBuffer(AMediaFormat* format, const char* name, void** data, size_t* size) {
  const Entry* e = Find(format, name, Type::kBuffer);
  if (!e) return false;
  *data = const_cast<uint8_t*>(e->bytes->data());
  *size = e->bytes->size();
  return true;
}

bool AMediaFormat_getString(AMediaFormat* format, const char* name, const char** out) {
  const Entry* e = Find(format, name, Type::kString);
  if (!e) return false;
  std::unique_ptr<std::string>& copy = format->handed_out[name];
  copy.reset(new std::string(e->text));
  *out = copy->c_str();
  return true;
}

void AMediaFormat_setInt32(AMediaFormat* format, const char* name, int32_t value) {
  Slot(format, name, Type::kInt32)->i = value;
}

void AMediaFormat_setInt64(AMediaFormat* format, const char* name, int64_t value) {
  Slot(format, name, Type::kInt64)->i = value;
}

void AMediaFormat_setFloat(AMediaFormat* format, const char* name, float value) {
  Slot(format, name, Type::kFloat)->d = value;
}

void AMediaFormat_setDouble(AMediaFormat* format, const char* name, double value) {
  Slot(format, name, Type::kDouble)->d = value;
}

void AMediaFormat_setSize(AMediaFormat* format, const char* name, size_t value) {
  Slot(format, name, Type::kSize)->i = static_cast<int64_t>(value);
}

void AMediaFormat_setRect(AMediaFormat* format, const char* name, int32_t left, int32_t top,
                          int32_t right, int32_t bottom) {
  Entry* e = Slot(format, name, Type::kRect);
  e->rect[0] = left;
  e->rect[1] = top;
  e->rect[2] = right;
  e->rect[3] = bottom;
}

void AMediaFormat_setString(AMediaFormat* format, const char* name, const char* value) {
  if (!value) __android_log_assert("value", "NdkMediaFormat", "null string for %s", name);
  Slot(format, name, Type::kString)->text = value;
}

void AMediaFormat_setBuffer(AMediaFormat* format, const char* name, const void* data, size_t size) {
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  Slot(format, name, Type::kBuffer)->bytes =
      std::make_shared<const std::vector<uint8_t>>(bytes, bytes + (bytes ? size : 0));
}

size_t host_format_count(AMediaFormat* format) {
  return format ? format->entries.size() : 0;
}

bool host_format_entry(AMediaFormat* format, size_t index, const char** name,
                       host_format_type* type) {
  if (!format || index >= format->entries.size()) return false;
  const Entry& e = format->entries[index];
  switch (e.type) {
    case Type::kInt32: *type = HOST_FORMAT_INT32; break;
    case Type::kInt64: *type = HOST_FORMAT_INT64; break;
    case Type::kFloat: *type = HOST_FORMAT_FLOAT; break;
    case Type::kDouble: *type = HOST_FORMAT_DOUBLE; break;
    case Type::kSize: *type = HOST_FORMAT_SIZE; break;
    case Type::kRect: *type = HOST_FORMAT_RECT; break;
    case Type::kString: *type = HOST_FORMAT_STRING; break;
    case Type::kBuffer: *type = HOST_FORMAT_BUFFER; break;
  }
  *name = e.name.c_str();
  return true;
}

// The format keys, with their API 30 string values.
const char* AMEDIAFORMAT_KEY_MIME = "mime";
const char* AMEDIAFORMAT_KEY_DURATION = "durationUs";
const char* AMEDIAFORMAT_KEY_WIDTH = "width";
const char* AMEDIAFORMAT_KEY_HEIGHT = "height";
const char* AMEDIAFORMAT_KEY_CSD_0 = "csd-0";
const char* AMEDIAFORMAT_KEY_CSD_1 = "csd-1";
const char* AMEDIAFORMAT_KEY_CSD_2 = "csd-2";
const char* AMEDIAFORMAT_KEY_CSD = "csd";
const char* AMEDIAFORMAT_KEY_CSD_AVC = "csd-avc";
const char* AMEDIAFORMAT_KEY_CSD_HEVC = "csd-hevc";
const char* AMEDIAFORMAT_KEY_ESDS = "esds";
const char* AMEDIAFORMAT_KEY_D263 = "d263";
const char* AMEDIAFORMAT_KEY_MPEG2_STREAM_HEADER = "mpeg2-stream-header";
const char* AMEDIAFORMAT_KEY_CHANNEL_COUNT = "channel-count";
const char* AMEDIAFORMAT_KEY_CHANNEL_MASK = "channel-mask";
const char* AMEDIAFORMAT_KEY_SAMPLE_RATE = "sample-rate";
const char* AMEDIAFORMAT_KEY_BITS_PER_SAMPLE = "bits-per-sample";
const char* AMEDIAFORMAT_KEY_PCM_ENCODING = "pcm-encoding";
const char* AMEDIAFORMAT_KEY_PCM_BIG_ENDIAN = "pcm-big-endian";
const char* AMEDIAFORMAT_KEY_LANGUAGE = "language";
const char* AMEDIAFORMAT_KEY_MAX_INPUT_SIZE = "max-input-size";
const char* AMEDIAFORMAT_KEY_FRAME_RATE = "frame-rate";
const char* AMEDIAFORMAT_KEY_DISPLAY_WIDTH = "display-width";
const char* AMEDIAFORMAT_KEY_DISPLAY_HEIGHT = "display-height";
const char* AMEDIAFORMAT_KEY_SAR_WIDTH = "sar-width";
const char* AMEDIAFORMAT_KEY_SAR_HEIGHT = "sar-height";
const char* AMEDIAFORMAT_KEY_DISPLAY_CROP = "crop";
const char* AMEDIAFORMAT_KEY_ROTATION = "rotation-degrees";
const char* AMEDIAFORMAT_KEY_COLOR_RANGE = "color-range";
const char* AMEDIAFORMAT_KEY_COLOR_STANDARD = "color-standard";
const char* AMEDIAFORMAT_KEY_COLOR_TRANSFER = "color-transfer";
const char* AMEDIAFORMAT_KEY_HDR_STATIC_INFO = "hdr-static-info";
const char* AMEDIAFORMAT_KEY_AAC_PROFILE = "aac-profile";
const char* AMEDIAFORMAT_KEY_IS_ADTS = "is-adts";
const char* AMEDIAFORMAT_KEY_BIT_RATE = "bitrate";
const char* AMEDIAFORMAT_KEY_MAX_BIT_RATE = "max-bitrate";
const char* AMEDIAFORMAT_KEY_ENCODER_DELAY = "encoder-delay";
const char* AMEDIAFORMAT_KEY_ENCODER_PADDING = "encoder-padding";
const char* AMEDIAFORMAT_KEY_TRACK_ID = "track-id";
const char* AMEDIAFORMAT_KEY_TRACK_INDEX = "track-index";
const char* AMEDIAFORMAT_KEY_IS_DEFAULT = "is-default";
const char* AMEDIAFORMAT_KEY_IS_FORCED_SUBTITLE = "is-forced-subtitle";
const char* AMEDIAFORMAT_KEY_IS_AUTOSELECT = "is-autoselect";
const char* AMEDIAFORMAT_KEY_TEXT_FORMAT_DATA = "text-format-data";
const char* AMEDIAFORMAT_KEY_TIME_US = "timeUs";
const char* AMEDIAFORMAT_KEY_IS_SYNC_FRAME = "is-sync-frame";
const char* AMEDIAFORMAT_KEY_VALID_SAMPLES = "valid-samples";
const char* AMEDIAFORMAT_KEY_TARGET_TIME = "target-time";
const char* AMEDIAFORMAT_KEY_FRAME_COUNT = "frame-count";
const char* AMEDIAFORMAT_KEY_THUMBNAIL_TIME = "thumbnail-time";
const char* AMEDIAFORMAT_KEY_THUMBNAIL_WIDTH = "thumbnail-width";
const char* AMEDIAFORMAT_KEY_THUMBNAIL_HEIGHT = "thumbnail-height";
const char* AMEDIAFORMAT_KEY_THUMBNAIL_CSD_HEVC = "thumbnail-csd-hevc";
const char* AMEDIAFORMAT_KEY_ALBUM = "album";
const char* AMEDIAFORMAT_KEY_ALBUMARTIST = "albumartist";
const char* AMEDIAFORMAT_KEY_ARTIST = "artist";
const char* AMEDIAFORMAT_KEY_AUTHOR = "author";
const char* AMEDIAFORMAT_KEY_COMPOSER = "composer";
const char* AMEDIAFORMAT_KEY_DATE = "date";
const char* AMEDIAFORMAT_KEY_GENRE = "genre";
const char* AMEDIAFORMAT_KEY_TITLE = "title";
const char* AMEDIAFORMAT_KEY_YEAR = "year";
const char* AMEDIAFORMAT_KEY_CDTRACKNUMBER = "cdtracknum";
const char* AMEDIAFORMAT_KEY_DISCNUMBER = "discnum";
const char* AMEDIAFORMAT_KEY_COMPILATION = "compilation";
const char* AMEDIAFORMAT_KEY_LYRICIST = "lyricist";
const char* AMEDIAFORMAT_KEY_LOCATION = "location";
const char* AMEDIAFORMAT_KEY_MANUFACTURER = "manufacturer";
const char* AMEDIAFORMAT_KEY_ALBUMART = "albumart";
const char* AMEDIAFORMAT_KEY_LOOP = "loop";
const char* AMEDIAFORMAT_KEY_MAX_WIDTH = "max-width";
const char* AMEDIAFORMAT_KEY_MAX_HEIGHT = "max-height";
const char* AMEDIAFORMAT_KEY_PROFILE = "profile";
const char* AMEDIAFORMAT_KEY_LEVEL = "level";
}  // extern "C"

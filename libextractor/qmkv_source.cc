// One track as the framework reads it: frames into the framework's buffers, with times, sync
// flags and seeks; PCM turned into the sample format the track's format promises.
#include <android/log.h>
#include <string.h>

#include "audio/qaud_pcm.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_log.h"
#include "common/qcmn_mt.h"
#include "demux/qmkvd.h"
#include "qmkv_extractor.h"
#include "qmkv_extractor_internal.h"

// Framework misuse (start twice, read before start...) is fatal, as everywhere in the media
// stack; the message names the file and line of the check.
#define QMKV_STRINGIFY(x) #x
#define QMKV_LINE_TEXT(line) QMKV_STRINGIFY(line)
#define QMKV_CHECK(cond, cond_text, check_text)                                       \
  do {                                                                                \
    if (!(cond)) {                                                                    \
      __android_log_assert("!(" cond_text ")", QCMN_TAG_FRONTEND, "%s",               \
                           __FILE__ ":" QMKV_LINE_TEXT(__LINE__) " CHECK(" check_text \
                                                                 ") failed.");        \
    }                                                                                 \
  } while (0)

namespace android {

namespace {

constexpr uint32_t kVorbisWaveTag = 0x6751;
// The largest buffer a frame may ask for: a 4K frame of lossless video is some 25 MB.
constexpr int64_t kMaxFrameBuffer = 64 << 20;
#define QMKV_MAX_SIZE_CHECK \
  "AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, &max_size)"

// previous-sync, next-sync, closest-sync, closest.
const uint32_t kSeekModes[4] = {QMKVD_SEEK_BEFORE, QMKVD_SEEK_AFTER, QMKVD_SEEK_NEAREST,
                                QMKVD_SEEK_BEFORE};

// Big-endian PCM made little-endian in place; depths other than 16, 24 and 32 stay as they are.
void SwapToLittleEndian(uint8_t* d, uint32_t size, uint32_t bits) {
  if (bits == 16) {
    for (uint32_t i = 0; i + 2 <= size; i += 2) {
      const uint8_t t = d[i];
      d[i] = d[i + 1];
      d[i + 1] = t;
    }
  } else if (bits == 32) {
    for (uint32_t i = 0; i + 4 <= size; i += 4) {
      uint8_t t = d[i];
      d[i] = d[i + 3];
      d[i + 3] = t;
      t = d[i + 1];
      d[i + 1] = d[i + 2];
      d[i + 2] = t;
    }
  } else if (bits == 24) {
    for (uint32_t i = 0; i + 3 <= size; i += 3) {
      const uint8_t t = d[i];
      d[i] = d[i + 2];
      d[i + 2] = t;
    }
  }
}

// 0 to 3 for 8, 16, 24 and 32 bits; anything else is above 3.
uint32_t DepthIndex(uint32_t bits) {
  if (bits < 8 || bits > 32 || bits % 8 != 0) return 4;
  return bits / 8 - 1;
}

}  // namespace

// The track reads through the stream handle's own file handle (the holder's data source), so the
// data source passed in is not kept.
QMKVSource::QMKVSource(const QMKVTrack& track, sp<QMKVDSF> holder)
    : mFormat(AMediaFormat_new()),
      mHolder(holder),
      mBuffer(nullptr),
      mStreamType(0),
      mCodec(track.code),
      mStreamHandle(nullptr),
      mPcm{PcmPlan::kAsStored, false, 0, 0, QMKV_PCM_16BIT},
      mStarted(false) {
  pthread_mutex_init(&mLock, nullptr);
  if (mFormat && track.format) AMediaFormat_copy(mFormat, track.format);
  if (track.type != QMKV_TYPE_VIDEO && track.type != QMKV_TYPE_AUDIO &&
      track.type != QMKV_TYPE_TEXT) {
    mStreamType = 255;
    return;
  }
  mStreamType = track.type;
  if (!openStream(mHolder.get(), track.index)) mHolder.clear();  // outside the holder's lock
}

bool QMKVSource::openStream(QMKVDSF* h, int32_t index) {
  SharedStateLock shared(h);
  int32_t err = 0;
  mStreamHandle = qmkvds_open(h->mDemuxer, index, &err);
  return mStreamHandle != nullptr;
}

QMKVSource::~QMKVSource() {
  if (mStarted) stop();
  if (mStreamHandle) {
    qmkvds_close(mStreamHandle);
    mStreamHandle = nullptr;
  }
  mHolder.clear();
  if (mFormat) AMediaFormat_delete(mFormat);
  pthread_mutex_destroy(&mLock);
}

media_status_t QMKVSource::start() {
  pthread_mutex_lock(&mLock);
  QMKV_CHECK(!mStarted, "!mStarted", "!mStarted");
  if (mHolder == nullptr) {
    qcmn_log(QCMN_LOG_INFO, QCMN_TAG_FRONTEND, "QMKVSource::start() MKV demuxer is NULL");
    pthread_mutex_unlock(&mLock);
    return AMEDIA_ERROR_UNSUPPORTED;
  }
  if (mStreamType == 255) {
    qcmn_log(QCMN_LOG_INFO, QCMN_TAG_FRONTEND, "QMKVSource::start() mStreamType is unknown");
    pthread_mutex_unlock(&mLock);
    return AMEDIA_ERROR_UNSUPPORTED;
  }
  int32_t max_size = 0;
  const bool has_size = AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, &max_size);
  QMKV_CHECK(has_size, QMKV_MAX_SIZE_CHECK, QMKV_MAX_SIZE_CHECK);
  mBufferGroup->add_buffer(static_cast<size_t>(max_size));
  mPcm = planPcmLocked();  // the format is the source's own and never changes
  mStarted = true;
  pthread_mutex_unlock(&mLock);
  return AMEDIA_OK;
}

media_status_t QMKVSource::stop() {
  pthread_mutex_lock(&mLock);
  QMKV_CHECK(mStarted, "mStarted", "mStarted");
  mStarted = false;
  pthread_mutex_unlock(&mLock);
  return AMEDIA_OK;
}

media_status_t QMKVSource::getFormat(AMediaFormat* format) {
  pthread_mutex_lock(&mLock);
  AMediaFormat_copy(format, mFormat);
  pthread_mutex_unlock(&mLock);
  return AMEDIA_OK;
}

// Gives the buffer back to its group before a read ends without a frame.
media_status_t QMKVSource::failLocked(media_status_t status) {
  mBuffer->release();
  mBuffer = nullptr;
  pthread_mutex_unlock(&mLock);
  return status;
}

media_status_t QMKVSource::seekLocked(const ReadOptions* options) {
  int64_t time_us = 0;
  ReadOptions::SeekMode mode = ReadOptions::SEEK_CLOSEST_SYNC;
  if (!options || !options->getSeekTo(&time_us, &mode)) return AMEDIA_OK;
  QMKV_CHECK(static_cast<uint32_t>(mode) < 4, "!\"Should not be here.\"",
             "!\"Should not be here.\"");
  QMKVDSF* h = mHolder.get();
  if (!h->seekable() && time_us != 0) return AMEDIA_OK;
  // Microseconds far beyond any file would overflow the nanoseconds: they are past the end.
  int64_t target = 0;
  if (time_us > INT64_MAX / 1000) {
    target = INT64_MAX;
  } else if (time_us > 0) {
    target = qmkvd_ns_to_time(time_us * 1000 - h->mStartOffsetNs);
  }
  if (target < 1) target = 0;
  if (target > h->mInfo.duration) return AMEDIA_ERROR_END_OF_STREAM;
  int64_t landed = 0;
  SharedStateLock shared(h);
  if (qmkvds_seek(mStreamHandle, &target, &landed, kSeekModes[mode]) != 0) {
    return AMEDIA_ERROR_END_OF_STREAM;
  }
  return AMEDIA_OK;
}

QMKVSource::PcmPlan QMKVSource::planPcmLocked() const {
  PcmPlan plan = {PcmPlan::kAsStored, false, 0, 0, QMKV_PCM_16BIT};
  int32_t bits = 0;
  if (mStreamType != QMKV_TYPE_AUDIO ||
      !AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_BITS_PER_SAMPLE, &bits)) {
    return plan;
  }
  plan.bits = static_cast<uint32_t>(bits);
  plan.big_endian = mCodec == qcmn_fourcc("lpcm");
  AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_PCM_ENCODING, &plan.encoding);
  if (mCodec == QCMN_TAG_IEEE_FLOAT) {
    const bool doubles = plan.bits == 64;
    if (plan.encoding == QMKV_PCM_16BIT) {
      plan.kind = doubles ? PcmPlan::kDoubleTo16 : PcmPlan::kFloatTo16;
    } else if (doubles) {
      plan.kind = PcmPlan::kDoubleToFloat;
    }
    return plan;
  }
  if (!plan.big_endian && mCodec != QCMN_TAG_PCM) return plan;
  if (plan.encoding != QMKV_PCM_16BIT && plan.encoding != QMKV_PCM_FLOAT) return plan;
  plan.depth = DepthIndex(plan.bits);
  plan.kind = plan.depth > 3 ? PcmPlan::kUnusable : PcmPlan::kInteger;
  return plan;
}

int64_t QMKVSource::PcmPlan::outputSize(uint32_t size) const {
  switch (kind) {
    case kFloatTo16: return int64_t{size / 4} * 2;
    case kDoubleTo16: return int64_t{size / 8} * 2;
    case kDoubleToFloat: return int64_t{size / 8} * 4;
    case kUnusable: return 0;
    case kInteger: return int64_t{size / (depth + 1)} * (encoding == QMKV_PCM_16BIT ? 2 : 4);
    case kAsStored:
    default: return size;
  }
}

int64_t QMKVSource::convertPcmLocked(uint8_t* data, uint32_t size, size_t capacity) {
  const PcmPlan& plan = mPcm;
  if (plan.big_endian) SwapToLittleEndian(data, size, plan.bits);
  int16_t* out16 = reinterpret_cast<int16_t*>(data);
  float* outf = reinterpret_cast<float*>(data);
  if (plan.kind == PcmPlan::kFloatTo16) {
    memcpy_to_i16_from_float(out16, reinterpret_cast<const float*>(data), size / 4);
  } else if (plan.kind == PcmPlan::kDoubleTo16) {
    memcpy_to_i16_from_double(out16, reinterpret_cast<const double*>(data), size / 8);
  } else if (plan.kind == PcmPlan::kDoubleToFloat) {
    memcpy_to_float_from_double(outf, reinterpret_cast<const double*>(data), size / 8);
  }
  if (plan.kind != PcmPlan::kInteger) return plan.outputSize(size);
  const uint32_t depth = plan.depth;
  const uint32_t samples = size / (depth + 1);
  const int64_t grown = plan.outputSize(size);
  // Widening conversions grow the block in place: it has to fit the buffer it is in.
  if (grown > static_cast<int64_t>(capacity)) return -1;
  const int32_t encoding = plan.encoding;
  if (encoding == QMKV_PCM_16BIT) {
    if (depth == 0) memcpy_to_i16_from_u8(out16, data, samples);
    if (depth == 2) memcpy_to_i16_from_p24(out16, data, samples);
    if (depth == 3) memcpy_to_i16_from_i32(out16, reinterpret_cast<const int32_t*>(data), samples);
  } else {
    if (depth == 0) memcpy_to_float_from_u8(outf, data, samples);
    if (depth == 1) memcpy_to_float_from_i16(outf, reinterpret_cast<const int16_t*>(data), samples);
    if (depth == 2) memcpy_to_float_from_p24(outf, data, samples);
    if (depth == 3) memcpy_to_float_from_i32(outf, reinterpret_cast<const int32_t*>(data), samples);
  }
  return grown;
}

media_status_t QMKVSource::setMetaLocked(uint32_t size, int64_t time, int64_t end, int32_t sync) {
  QMKV_CHECK(mBuffer != nullptr, "mBuffer != __null", "mBuffer != NULL");
  AMediaFormat* meta = mBuffer->meta_data();
  AMediaFormat_clear(meta);
  bool duration_known = false;
  if (mStreamType == QMKV_TYPE_TEXT) {
    if (size < 1 || size >= mBuffer->size()) {
      AMediaFormat_setInt64(meta, AMEDIAFORMAT_KEY_DURATION, -1);
      duration_known = true;
    } else {
      static_cast<uint8_t*>(mBuffer->data())[size] = 0;  // decoders take the text as a C string
      ++size;
    }
  }
  int64_t length = 0;
  if (!duration_known && time < end && !__builtin_sub_overflow(end, time, &length)) {
    AMediaFormat_setInt64(meta, AMEDIAFORMAT_KEY_DURATION, qmkvd_time_to_us(length));
  }
  if (mCodec == QCMN_TAG_VORBIS || mCodec == kVorbisWaveTag) {
    int32_t rate = 0;
    int64_t duration = 0;
    if (!AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_SAMPLE_RATE, &rate) ||
        !AMediaFormat_getInt64(mFormat, AMEDIAFORMAT_KEY_DURATION, &duration)) {
      return failLocked(AMEDIA_ERROR_MALFORMED);
    }
    const int64_t now = qmkvd_time_to_us(time);
    if (now >= 0 && now < duration && rate > 0) {
      // The samples left to the end of the track; saturated, a hostile duration cannot wrap.
      const int64_t left_us = duration - now;
      const int64_t samples = left_us > INT64_MAX / rate ? INT32_MAX : left_us * rate / 1000000;
      AMediaFormat_setInt32(meta, AMEDIAFORMAT_KEY_VALID_SAMPLES,
                            samples > INT32_MAX ? INT32_MAX : static_cast<int32_t>(samples));
    }
  }
  mBuffer->set_range(0, size);
  AMediaFormat_setInt64(meta, AMEDIAFORMAT_KEY_TIME_US, qmkvd_time_to_us(time));
  AMediaFormat_setInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, sync);
  return AMEDIA_OK;
}

// Room a frame of `size` bytes needs in the framework's buffer: PCM grown by its conversion, a
// text with its terminating NUL.
int64_t QMKVSource::roomForLocked(uint32_t size) const {
  const int64_t converted = mPcm.outputSize(size);
  const int64_t text_nul = mStreamType == QMKV_TYPE_TEXT ? 1 : 0;
  return (converted > size ? converted : int64_t{size}) + text_nul;
}

media_status_t QMKVSource::read(MediaBufferHelper** out, const ReadOptions* options) {
  pthread_mutex_lock(&mLock);
  QMKV_CHECK(mStarted, "mStarted", "mStarted");
  *out = nullptr;
  media_status_t err = mBufferGroup->acquire_buffer(&mBuffer, false, 0);
  if (err != AMEDIA_OK || mBuffer == nullptr) {
    QMKV_CHECK(mBuffer == nullptr, "mBuffer == __null", "mBuffer == NULL");
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_FRONTEND, "QMKVSource::read() acquire_buffer returns %d", err);
    pthread_mutex_unlock(&mLock);
    return AMEDIA_ERROR_UNKNOWN;
  }
  media_status_t seek = seekLocked(options);
  if (seek != AMEDIA_OK) return failLocked(seek);

  uint32_t size = 0;
  int64_t time = 0, end = 0;
  int32_t sync = 0;
  // The frame's size first: one larger than the buffer (lossless or intra-only video, a long
  // subtitle event) gets a buffer of its own size from the group.
  int32_t result = qmkvds_get_frm(mStreamHandle, nullptr, 0, &size, &time, &end, &sync);
  if (result != 0) {
    return failLocked(result == 1 ? AMEDIA_ERROR_END_OF_STREAM : AMEDIA_ERROR_IO);
  }
  const int64_t room = roomForLocked(size);
  if (room > static_cast<int64_t>(mBuffer->size())) {
    media_status_t grown = growBufferLocked(room);
    if (grown != AMEDIA_OK) return grown;
  }
  uint8_t* data = static_cast<uint8_t*>(mBuffer->data());
  const size_t capacity = mBuffer->size();
  const int32_t fits = capacity > INT32_MAX ? INT32_MAX : static_cast<int32_t>(capacity);
  result = qmkvds_get_frm(mStreamHandle, data, fits, &size, &time, &end, &sync);
  if (result != 0) {
    return failLocked(result == 1 ? AMEDIA_ERROR_END_OF_STREAM : AMEDIA_ERROR_IO);
  }
  const int64_t converted = convertPcmLocked(data, size, capacity);
  if (converted < 0) {
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_FRONTEND, "QMKVSource::read() PCM block of %u bytes too big",
             size);
    return failLocked(AMEDIA_ERROR_IO);
  }
  media_status_t meta = setMetaLocked(static_cast<uint32_t>(converted), time, end, sync);
  if (meta != AMEDIA_OK) return meta;
  *out = mBuffer;
  pthread_mutex_unlock(&mLock);
  return AMEDIA_OK;
}

// Swaps the buffer for one of `room` bytes. A frame beyond what any real file holds in one frame
// keeps the buffer it has (the read then fails on it); so does a group that cannot give more.
media_status_t QMKVSource::growBufferLocked(int64_t room) {
  if (room > kMaxFrameBuffer) {
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_FRONTEND, "QMKVSource::read() frame of %lld bytes refused",
             static_cast<long long>(room));
    return AMEDIA_OK;
  }
  mBuffer->release();
  mBuffer = nullptr;
  media_status_t err = mBufferGroup->acquire_buffer(&mBuffer, false, static_cast<size_t>(room));
  if (err != AMEDIA_OK || mBuffer == nullptr) {
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_FRONTEND, "QMKVSource::read() acquire_buffer returns %d", err);
    mBuffer = nullptr;
    pthread_mutex_unlock(&mLock);
    return AMEDIA_ERROR_UNKNOWN;
  }
  return AMEDIA_OK;
}

}  // namespace android

// The plug-in's entry, its sniffer, and the extractor's framework-facing operations.
#include "qmkv_extractor.h"

#include <string.h>

#include <new>

#include <media/stagefright/MediaDefs.h>

#include "common/qcmn_log.h"
#include "demux/qmkvd.h"
#include "mfal/qcmn_mfal_android_q.h"

namespace android {

namespace {

// The EBML DocType element with a one-byte size and the value "matroska", which EBML allows to
// be padded with NULs (GStreamer writes "matroska\0"). "webm" files are left to the extractors
// that serve them.
const uint8_t kDocTypeId[] = {0x42, 0x82};
const char kMatroska[] = "matroska";
constexpr size_t kMatroskaLength = sizeof(kMatroska) - 1;
constexpr uint8_t kOneByteSizeMarker = 0x80;
const char* kExtensions[] = {"mkv", "mka", nullptr};
constexpr size_t kSniffBytes = 128;
// The last start tried is 116: an unpadded DocType's last byte then sits at 126.
constexpr size_t kSniffLastStart = 116;
constexpr uint32_t kPauseOnly = MediaExtractorPluginHelper::CAN_PAUSE;
constexpr uint32_t kAllFlags =
    MediaExtractorPluginHelper::CAN_SEEK_BACKWARD | MediaExtractorPluginHelper::CAN_SEEK_FORWARD |
    MediaExtractorPluginHelper::CAN_PAUSE | MediaExtractorPluginHelper::CAN_SEEK;

// Whether `element` (the bytes from a candidate start to the end of what was read) begins with
// the DocType "matroska", padded or not.
bool IsMatroskaDocType(const uint8_t* element, size_t available) {
  const size_t header = sizeof(kDocTypeId) + 1;
  if (available < header + kMatroskaLength) return false;
  if (memcmp(element, kDocTypeId, sizeof(kDocTypeId)) != 0) return false;
  const uint8_t size_byte = element[sizeof(kDocTypeId)];
  if ((size_byte & kOneByteSizeMarker) == 0) return false;
  const size_t length = size_byte & ~kOneByteSizeMarker;
  if (length < kMatroskaLength || length > available - header) return false;
  const uint8_t* value = element + header;
  if (memcmp(value, kMatroska, kMatroskaLength) != 0) return false;
  for (size_t i = kMatroskaLength; i < length; ++i) {
    if (value[i] != 0) return false;
  }
  return true;
}

}  // namespace

CMediaExtractor* CreateExtractor(CDataSource* source, void* /*meta*/) {
  return wrap(new QMKVExtractor(new DataSourceHelper(source)));
}

CreatorFunc Sniff(CDataSource* source, float* confidence, void** /*meta*/,
                  FreeMetaFunc* /*freeMeta*/) {
  uint8_t buffer[kSniffBytes] = {};
  ssize_t got = source->readAt(source->handle, 0, buffer, sizeof(buffer));
  if (static_cast<size_t>(got) < sizeof(buffer)) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_FRONTEND, "can't read buffer size of maxScanOffset");
    return nullptr;
  }
  for (size_t start = 0; start <= kSniffLastStart; ++start) {
    if (IsMatroskaDocType(buffer + start, sizeof(buffer) - start)) {
      *confidence = 0.7f;
      return CreateExtractor;
    }
  }
  return nullptr;
}

extern "C" {

__attribute__((visibility("default"))) ExtractorDef GETEXTRACTORDEF() {
  return {
      EXTRACTORDEF_VERSION,
      UUID("f223cc60-82b3-11e9-b475-0800200c9a66"),
      1,
      "QOR MKV Extractor",
      {.v3 = {Sniff, kExtensions}},
  };
}

}  // extern "C"

// --- The holder ---------------------------------------------------------------------------------

QMKVDSF::QMKVDSF()
    : mDemuxer(nullptr),
      mInfo(),
      mOpenFlags(0),
      mVideoInfo(),
      mCodedWidth(),
      mCodedHeight(),
      mIsMp4Dp(),
      mAudioInfo(),
      mTextInfo(),
      mMfal(),
      mSource(nullptr),
      mStartOffsetNs(0) {
  pthread_mutex_init(&mSharedLock, nullptr);
}

QMKVDSF::~QMKVDSF() {
  if (mDemuxer) {
    // Each source owns its stream handle and closed it; the holder outlives every source.
    qmkvd_delete(mDemuxer);
    mDemuxer = nullptr;
  }
  qcmn_mfal_deinit(&mMfal);
  delete mSource;
  pthread_mutex_destroy(&mSharedLock);
}

// --- The extractor ------------------------------------------------------------------------------

QMKVExtractor::QMKVExtractor(DataSourceHelper* source)
    : mDataSource(source),
      mHolder(),
      mFileMeta(AMediaFormat_new()),
      mMetaDataRead(false),
      mHasVideo(false),
      mValid(true) {}

QMKVExtractor::~QMKVExtractor() {
  for (QMKVTrack& track : mTracks) AMediaFormat_delete(track.format);
  AMediaFormat_delete(mFileMeta);
  mHolder.clear();
  delete mDataSource;
}

int32_t QMKVExtractor::readMetaData() {
  if (!mValid) return QMKV_ERROR_INVALID;
  if (mMetaDataRead) return 0;
  int32_t status = init_qmkvff();
  if (status != 0) return status;
  if (mMetaDataRead) {
    AMediaFormat_setString(mFileMeta, AMEDIAFORMAT_KEY_MIME,
                           mHasVideo ? MEDIA_MIMETYPE_CONTAINER_MATROSKA : "audio/x-matroska");
  }
  return 0;
}

const QMKVTrack* QMKVExtractor::trackAt(size_t index) const {
  return index < mTracks.size() ? &mTracks[index] : nullptr;
}

size_t QMKVExtractor::countTracks() {
  return readMetaData() != 0 ? 0 : mTracks.size();
}

MediaTrackHelper* QMKVExtractor::getTrack(size_t index) {
  if (readMetaData() != 0) return nullptr;
  const QMKVTrack* track = trackAt(index);
  if (!track) return nullptr;
  return new QMKVSource(*track, mHolder);
}

media_status_t QMKVExtractor::getTrackMetaData(AMediaFormat* meta, size_t index,
                                               uint32_t /*flags*/) {
  if (readMetaData() != 0) return AMEDIA_ERROR_UNKNOWN;
  const QMKVTrack* track = trackAt(index);
  if (!track) return AMEDIA_ERROR_UNKNOWN;
  return AMediaFormat_copy(meta, track->format);
}

media_status_t QMKVExtractor::getMetaData(AMediaFormat* meta) {
  if (readMetaData() != 0) return AMEDIA_ERROR_UNKNOWN;
  AMediaFormat_copy(meta, mFileMeta);
  return AMEDIA_OK;
}

uint32_t QMKVExtractor::flags() const {
  // Asked before the first query there is no summary yet: promise nothing beyond pausing.
  return (mHolder != nullptr && mHolder->seekable()) ? kAllFlags : kPauseOnly;
}

media_status_t QMKVExtractor::setMediaCas(const uint8_t* /*casToken*/, size_t /*size*/) {
  return AMEDIA_ERROR_INVALID_OPERATION;
}

}  // namespace android

// The plug-in front end: the extractor the framework creates per file, the holder that keeps
// the demuxer alive while any of the extractor's track sources still reads, and the track
// source itself. Everything here adapts; all parsing is the demuxer's.
#pragma once

#include <pthread.h>
#include <stdint.h>

#include <vector>

#include <media/MediaExtractorPluginApi.h>
#include <media/MediaExtractorPluginHelper.h>
#include <media/NdkMediaFormat.h>
#include <utils/RefBase.h>

#include "demux/qmkvd.h"
#include "mfal/qcmn_mfal.h"

namespace android {

// Statuses the extractor reports to the framework, for a file or for one track (the latter
// through the track format's error key).
enum : int32_t {
  QMKV_ERROR_TRACK_INFO = -1001,   // a track's summary could not be read: the file fails
  QMKV_ERROR_UNSUPPORTED = -1002,  // codec not in our lists, or not decodable here
  QMKV_ERROR_CONFIG = -1003,       // codec configuration could not be parsed
  QMKV_ERROR_RESOLUTION = -1004,   // picture above the decoder's limit; also no memory
  QMKV_ERROR_NO_MEDIA = -1007,     // nothing we can play, or the file is unreadable
  QMKV_ERROR_INVALID = -1010,      // opening failed before; or the file's data is unusable
};

// Shared by the extractor and its track sources; the last strong reference deletes it, and
// with it the demuxer.
class QMKVDSF : public RefBase {
 public:
  QMKVDSF();
  ~QMKVDSF() override;
  QMKVDSF(const QMKVDSF&) = delete;
  QMKVDSF& operator=(const QMKVDSF&) = delete;

  bool seekable() const { return mInfo.constant_one == 1; }

  QMKVD_CTX* mDemuxer;
  QMKVD_FILE_INFO mInfo;
  uint32_t mOpenFlags;
  QMKVD_VIDEO_INFO mVideoInfo[QMKVD_MAX_TRACKS];
  uint32_t mCodedWidth[QMKVD_MAX_TRACKS];  // per video entry, from the configuration parser
  uint32_t mCodedHeight[QMKVD_MAX_TRACKS];
  int32_t mIsMp4Dp[QMKVD_MAX_TRACKS];
  QMKVD_AUDIO_INFO mAudioInfo[QMKVD_MAX_TRACKS];
  QMKVD_TEXT_INFO mTextInfo[QMKVD_MAX_TRACKS];
  QCMN_MFAL mMfal;
  // The holder's own helper over the extractor's data source: sources may read after the
  // extractor (and its helper) are gone.
  DataSourceHelper* mSource;
  int64_t mStartOffsetNs;  // subtracted from seek times
  // The framework reads the tracks of one file from different threads. Each source has its own
  // stream handle, but opening one and seeking update what the demuxer shares between streams
  // (the stream slots, whether the cues are usable, the cue table itself, the Segment base, the
  // last cue used): those run under this lock.
  pthread_mutex_t mSharedLock;
};

// One track as the extractor published it, handed to the source made for it.
struct QMKVTrack {
  AMediaFormat* format;  // owned by the extractor; a source keeps its own copy
  int32_t index;         // the demuxer's stream index
  int32_t type;          // the demuxer's stream type
  int32_t slot;          // its place among the holder's summaries of its kind; -1 for none
  uint32_t code;         // its codec code
};

// Holds a holder's shared lock for a scope.
class SharedStateLock {
 public:
  explicit SharedStateLock(QMKVDSF* holder) : mLock(&holder->mSharedLock) {
    pthread_mutex_lock(mLock);
  }
  ~SharedStateLock() { pthread_mutex_unlock(mLock); }
  SharedStateLock(const SharedStateLock&) = delete;
  SharedStateLock& operator=(const SharedStateLock&) = delete;

 private:
  pthread_mutex_t* mLock;
};

class QMKVExtractor : public MediaExtractorPluginHelper {
 public:
  explicit QMKVExtractor(DataSourceHelper* source);
  ~QMKVExtractor() override;
  QMKVExtractor(const QMKVExtractor&) = delete;
  QMKVExtractor& operator=(const QMKVExtractor&) = delete;

  size_t countTracks() override;
  MediaTrackHelper* getTrack(size_t index) override;
  media_status_t getTrackMetaData(AMediaFormat* meta, size_t index, uint32_t flags) override;
  media_status_t getMetaData(AMediaFormat* meta) override;
  uint32_t flags() const override;
  media_status_t setMediaCas(const uint8_t* casToken, size_t size) override;
  const char* name() override { return "QMKVExtractor"; }

 private:
  friend struct QMKVExtractorPeer;  // tests: the status behind a failed query, the holder

  int32_t readMetaData();
  int32_t init_qmkvff();
  const QMKVTrack* trackAt(size_t index) const;

  // Deciding whether a track can be played: its status, 0 when it can.
  int32_t describeSubtitle(int32_t index, int32_t slot);
  int32_t describeAudio(int32_t index, int32_t slot, int32_t* aac_profile);
  int32_t describeVideo(int32_t index, int32_t slot, int32_t* max_input_size);
  int32_t parseVideoConfig(int32_t index, int32_t slot, const uint8_t* block, uint32_t length);

  // The track format's keys, per kind, after the common ones.
  void setCommonKeys(AMediaFormat* format, int32_t status, uint32_t code);
  void setSubtitleKeys(AMediaFormat* format, int32_t slot);
  int32_t setAudioKeys(AMediaFormat* format, int32_t index, int32_t slot, int32_t status,
                       int32_t aac_profile);
  void setVideoKeys(AMediaFormat* format, int32_t index, int32_t slot, int32_t status,
                    int32_t max_input_size);
  void setIFrameInterval(AMediaFormat* format, int32_t index);
  void setFileMetaData();
  // The cover art attachment's bytes as the file format's album art, read now.
  void setAlbumArt();

  DataSourceHelper* mDataSource;
  sp<QMKVDSF> mHolder;
  AMediaFormat* mFileMeta;
  std::vector<QMKVTrack> mTracks;
  bool mMetaDataRead;
  bool mHasVideo;
  bool mValid;
};

class QMKVSource : public MediaTrackHelper {
 public:
  QMKVSource(const QMKVTrack& track, sp<QMKVDSF> holder);
  ~QMKVSource() override;
  QMKVSource(const QMKVSource&) = delete;
  QMKVSource& operator=(const QMKVSource&) = delete;

  media_status_t start() override;
  media_status_t stop() override;
  media_status_t getFormat(AMediaFormat* format) override;
  media_status_t read(MediaBufferHelper** buffer, const ReadOptions* options) override;

 private:
  // Opens the track's stream handle; false when it cannot.
  bool openStream(QMKVDSF* holder, int32_t index);
  media_status_t seekLocked(const ReadOptions* options);
  // How a PCM block becomes what the format promises.
  struct PcmPlan {
    enum Kind { kAsStored, kFloatTo16, kDoubleTo16, kDoubleToFloat, kInteger, kUnusable } kind;
    bool big_endian;  // swapped to little-endian first
    uint32_t bits;
    uint32_t depth;  // kInteger: 0 to 3 for 8 to 32 bits
    int32_t encoding;
    // The size a block of `size` bytes has once converted.
    int64_t outputSize(uint32_t size) const;
  };
  // Made once at start: per frame the plan is only looked up.
  PcmPlan planPcmLocked() const;
  // Turns a PCM block into what the format promises; returns the new size. A block whose
  // result would not fit the buffer yields -1.
  int64_t convertPcmLocked(uint8_t* data, uint32_t size, size_t capacity);
  int64_t roomForLocked(uint32_t size) const;
  // Unlocks and returns an error when no buffer could be had.
  media_status_t growBufferLocked(int64_t room);
  media_status_t setMetaLocked(uint32_t size, int64_t time, int64_t end, int32_t sync);
  media_status_t failLocked(media_status_t status);

  pthread_mutex_t mLock;
  // The source's own copy of the track's format: the framework may free the extractor, and the
  // formats it owns, while the source still reads.
  AMediaFormat* mFormat;
  sp<QMKVDSF> mHolder;
  MediaBufferHelper* mBuffer;
  int32_t mStreamType;
  uint32_t mCodec;
  QMKVDS_CTX* mStreamHandle;
  PcmPlan mPcm;
  bool mStarted;
};

// The plug-in entry points (the definition itself is GETEXTRACTORDEF).
CreatorFunc Sniff(CDataSource* source, float* confidence, void** meta, FreeMetaFunc* freeMeta);
CMediaExtractor* CreateExtractor(CDataSource* source, void* meta);

}  // namespace android

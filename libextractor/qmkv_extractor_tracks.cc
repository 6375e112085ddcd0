// Opening a file for the extractor: the demuxer is created once, then every track is judged
// (can this device play it?) and described in a format of its own. A track that cannot be
// played still gets its format, marked through the error key, so the framework sees every track
// of the file in file order.
#include <stdlib.h>
#include <string.h>

#include <new>

#include "common/qcmn_audcfg.h"
#include "common/qcmn_codec_table.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_log.h"
#include "common/qcmn_mimetypes.h"
#include "common/qcmn_mmcaps.h"
#include "common/qcmn_mt.h"
#include "common/qcmn_vidcfg.h"
#include "demux/qmkvd.h"
#include "mfal/qcmn_mfal_android_q.h"
#include "qmkv_extractor.h"
#include "qmkv_extractor_internal.h"

namespace android {

namespace {

constexpr int32_t kVideoConfigFrames = 100;          // frames tried for a configuration
constexpr int32_t kVideoFrameBufferSize = 0x180000;  // big enough for any frame we probe
constexpr uint32_t kLimitLong = 1920;
constexpr uint32_t kLimitShort = 1088;
constexpr uint64_t kPixelsFullHd = 1920ull * 1088;
constexpr uint64_t kPixelsUhd = 3840ull * 2160;

int32_t CreateStatus(int32_t err) {
  if (err == QMKVD_ERR_UNUSABLE) return QMKV_ERROR_INVALID;
  if (err == QMKVD_ERR_ALLOC) return QMKV_ERROR_RESOLUTION;
  return QMKV_ERROR_NO_MEDIA;
}

int32_t MaxInputSizeFor(uint64_t pixels) {
  if (pixels <= kPixelsFullHd) return QMKV_MAX_INPUT_VIDEO;
  if (pixels <= kPixelsUhd) return 0x600000;
  return 0xF00000;
}

}  // namespace

// The track's codec-configuration block: null with *length 0 when it has none. A block that
// exists but cannot be fetched gives -1001 through *status (when given).
uint8_t* QmkvFetchFormat(QMKVD_CTX* ctx, int32_t index, uint32_t* length, int32_t* status) {
  *length = 0;
  uint32_t size = 0;
  if (qmkvd_get_format(ctx, index, nullptr, &size) != 0 || size == 0) return nullptr;
  uint8_t* block = static_cast<uint8_t*>(malloc(size));
  if (!block) return nullptr;
  uint32_t got = size;
  if (qmkvd_get_format(ctx, index, block, &got) != 0 || got > size) {
    free(block);
    if (status) *status = QMKV_ERROR_TRACK_INFO;
    return nullptr;
  }
  *length = got;
  return block;
}

int32_t QMKVExtractor::init_qmkvff() {
  mHolder = new QMKVDSF();
  mMetaDataRead = true;
  QMKVDSF* h = mHolder.get();
  int32_t err = 0;
  h->mSource = new (std::nothrow) DataSourceHelper(mDataSource);
  if (h->mSource && qcmn_mfal_init(&h->mMfal, h->mSource) == 0) {
    h->mOpenFlags |= 1;
    h->mDemuxer = qmkvd_create(&h->mMfal, &h->mOpenFlags, &h->mInfo, &err);
  } else {
    err = QMKVD_ERR_ALLOC;
  }
  if (!h->mDemuxer) {
    qcmn_log(QCMN_LOG_INFO, QCMN_TAG_FRONTEND,
             "QMKVExtractor::init_qmkvff() qmkvd_create() failed(%d)!", err);
    qcmn_mfal_deinit(&h->mMfal);
    mValid = false;
    return CreateStatus(err);
  }
  if (h->mInfo.video_count == 0 && h->mInfo.audio_count == 0) {
    mValid = false;
    return QMKV_ERROR_NO_MEDIA;
  }
  int32_t video = 0, audio = 0, text = 0;
  uint32_t count = h->mInfo.stream_count;
  if (count > QMKVD_MAX_TRACKS) count = QMKVD_MAX_TRACKS;
  for (uint32_t i = 0; i < count; ++i) {
    const int32_t index = static_cast<int32_t>(i);
    const int32_t type = static_cast<int32_t>(h->mInfo.stream_type[i]);
    int32_t status = 0, aac_profile = -1, max_input = QMKV_MAX_INPUT_VIDEO;
    int32_t slot = -1;
    uint32_t code = 0;
    if (type == QMKV_TYPE_TEXT) {
      slot = text++;
      status = describeSubtitle(index, slot);
      code = h->mTextInfo[slot].codec_tag;
    } else if (type == QMKV_TYPE_AUDIO) {
      slot = audio++;
      status = describeAudio(index, slot, &aac_profile);
      code = h->mAudioInfo[slot].codec_tag;
    } else if (type == QMKV_TYPE_VIDEO) {
      slot = video++;
      status = describeVideo(index, slot, &max_input);
      code = h->mVideoInfo[slot].codec_tag;
    }
    if (status == QMKV_ERROR_TRACK_INFO) return QMKV_ERROR_TRACK_INFO;
    AMediaFormat* format = AMediaFormat_new();
    if (!format) return QMKV_ERROR_RESOLUTION;
    mTracks.push_back(QMKVTrack{format, index, type, slot, code});
    setCommonKeys(format, status, code);
    if (type == QMKV_TYPE_TEXT) {
      setSubtitleKeys(format, slot);
    } else if (type == QMKV_TYPE_AUDIO) {
      setAudioKeys(format, index, slot, status, aac_profile);
    } else if (type == QMKV_TYPE_VIDEO) {
      setVideoKeys(format, index, slot, status, max_input);
    } else {
      AMediaFormat_setString(format, AMEDIAFORMAT_KEY_MIME, QCMN_MIMETYPE_UNKNOWN);
    }
  }
  setFileMetaData();
  setAlbumArt();
  return 0;
}

int32_t QMKVExtractor::describeSubtitle(int32_t index, int32_t slot) {
  QMKVD_TEXT_INFO* info = &mHolder->mTextInfo[slot];
  if (qmkvd_get_info_txt(mHolder->mDemuxer, index, info) != 0) return QMKV_ERROR_TRACK_INFO;
  return qcmn_is_subtitle_code(info->codec_tag) ? 0 : QMKV_ERROR_UNSUPPORTED;
}

int32_t QMKVExtractor::describeAudio(int32_t index, int32_t slot, int32_t* aac_profile) {
  QMKVD_AUDIO_INFO* info = &mHolder->mAudioInfo[slot];
  if (qmkvd_get_info_aud(mHolder->mDemuxer, index, info) != 0) return QMKV_ERROR_TRACK_INFO;
  if (!qcmn_is_audio_code(info->codec_tag)) return QMKV_ERROR_UNSUPPORTED;
  if (!qaud_is_aac_code(info->codec_tag)) return 0;
  uint32_t length = 0;
  int32_t status = 0;
  uint8_t* block = QmkvFetchFormat(mHolder->mDemuxer, index, &length, &status);
  QAUD_CONFIG_INPUT in = {block, length, info->codec_tag};
  QAUD_CONFIG config = {};
  if (qaud_config_parser(&in, &config) != QAUD_CFG_OK) {
    status = QMKV_ERROR_CONFIG;
  } else {
    *aac_profile = config.aac_profile;
  }
  free(block);
  return status;
}

// Feeds the track's frames to the configuration parser until it answers. 0 with the parsed
// size kept, -1003 when it cannot tell, -1001 when the stream cannot be opened.
static int32_t ParseVideoFrames(QMKVD_CTX* ctx, int32_t index, uint32_t code, QVID_CONFIG* out) {
  int32_t err = 0;
  QMKVDS_CTX* stream = qmkvds_open(ctx, index, &err);
  if (!stream) return QMKV_ERROR_TRACK_INFO;
  uint8_t* frame = static_cast<uint8_t*>(malloc(kVideoFrameBufferSize));
  int32_t answer = -1;
  for (int32_t n = 0; frame && n < kVideoConfigFrames; ++n) {
    uint32_t size = 0;
    if (qmkvds_get_frm(stream, frame, kVideoFrameBufferSize, &size, nullptr, nullptr, nullptr) !=
        0) {
      answer = -1;
      break;
    }
    QVID_CONFIG_INPUT in = {frame, size, code};
    answer = qvid_config_parser(&in, out);
    if (answer <= 0) break;
  }
  free(frame);
  qmkvds_close(stream);
  return answer == 0 ? 0 : QMKV_ERROR_CONFIG;
}

int32_t QMKVExtractor::parseVideoConfig(int32_t index, int32_t slot, const uint8_t* block,
                                        uint32_t length) {
  const uint32_t code = mHolder->mVideoInfo[slot].codec_tag;
  QVID_CONFIG config = {};
  int32_t status = 0;
  int32_t answer = 1;
  if (block) {
    QVID_CONFIG_INPUT in = {block, length, code};
    answer = qvid_config_parser(&in, &config);
    if (answer < 0) return QMKV_ERROR_CONFIG;
  }
  // No block, or one that says nothing about the picture: the frames will.
  if (answer > 0) status = ParseVideoFrames(mHolder->mDemuxer, index, code, &config);
  if (status == 0) {
    mHolder->mCodedWidth[slot] = config.width;
    mHolder->mCodedHeight[slot] = config.height;
    mHolder->mIsMp4Dp[slot] = config.is_mp4_dp;
  }
  return status;
}

int32_t QMKVExtractor::describeVideo(int32_t index, int32_t slot, int32_t* max_input_size) {
  QMKVD_VIDEO_INFO* info = &mHolder->mVideoInfo[slot];
  if (qmkvd_get_info_vid(mHolder->mDemuxer, index, info) != 0) return QMKV_ERROR_TRACK_INFO;
  mHasVideo = true;
  const uint32_t code = info->codec_tag;
  *max_input_size = QMKV_MAX_INPUT_VIDEO;
  if (!qcmn_is_video_code(code)) return QMKV_ERROR_UNSUPPORTED;
  if (code != qcmn_fourcc("VP80")) {
    // VP9 carries no picture size in its block; it is fetched only to prove it readable.
    const bool vp9 = code == qcmn_fourcc("VP90");
    uint32_t length = 0;
    int32_t status = 0;
    uint8_t* block = QmkvFetchFormat(mHolder->mDemuxer, index, &length, &status);
    if (status == 0 && !vp9) status = parseVideoConfig(index, slot, block, length);
    free(block);
    if (status != 0) return status;
  }
  QVID_MM_SUPPORT support = {};
  int32_t result = qvid_get_mm_spec(QVID_MM_QUERY_SUPPORT, code, &support);
  if (result == QVID_MM_ERR_UNSUPPORTED || (result >= 0 && support.supported == 0)) {
    return QMKV_ERROR_UNSUPPORTED;
  }
  QVID_MM_LIMITS limits = {kLimitLong, kLimitShort, kLimitShort, kLimitLong};
  int32_t status = qvid_get_mm_spec(QVID_MM_QUERY_LIMITS, code, &limits);
  const uint64_t width = mHolder->mCodedWidth[slot];
  const uint64_t height = mHolder->mCodedHeight[slot];
  const bool portrait = width < height;
  const uint64_t limit = portrait ? uint64_t{limits.portrait_width} * limits.portrait_height
                                  : uint64_t{limits.landscape_width} * limits.landscape_height;
  if (width * height > limit) return QMKV_ERROR_RESOLUTION;
  *max_input_size = MaxInputSizeFor(width * height);
  return status;
}

}  // namespace android

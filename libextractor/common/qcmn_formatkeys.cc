// Format key strings and the codec-code to MIME table.
#include "common/qcmn_formatkeys.h"

#include <media/stagefright/MediaDefs.h>

#include "common/qcmn_codec_table.h"
#include "common/qcmn_mimetypes.h"
#include "common/qcmn_mt.h"

const char* AMEDIAFORMAT_KEY_FOURCC = "vendor.qmkv.fourcc";
const char* AMEDIAFORMAT_KEY_TRACK_FOURCC = "vendor.qmkv.track-fourcc";
const char* AMEDIAFORMAT_KEY_IS_MP4_DP = "vendor.qmkv.is-mp4-dp";
const char* AMEDIAFORMAT_KEY_ERROR_TYPE = "vendor.qmkv.error-type";
const char* AMEDIAFORMAT_KEY_ERROR_LOGGABLE = "vendor.qmkv.error-loggable";
const char* AMEDIAFORMAT_KEY_TRACK_NAME = "vendor.qmkv.track-name";
const char* AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES = "vendor.qmkv.char-encoding-types";
const char* AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL = "vendor.qmkv.i-frame-avg-interval";
const char* AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING = "vendor.qmkv.allow-frame-reordering";
const char* AMEDIAFORMAT_KEY_WRITER = "vendor.qmkv.writer";

const QCMN_FORMAT_KEY QCMN_FORMAT_KEYS[] = {
    {&AMEDIAFORMAT_KEY_FOURCC, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_TRACK_FOURCC, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_IS_MP4_DP, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_ERROR_TYPE, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_ERROR_LOGGABLE, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_TRACK_NAME, QcmnKeyType::kBuffer},
    {&AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES, QcmnKeyType::kString},
    {&AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL, QcmnKeyType::kInt64},
    {&AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_WRITER, QcmnKeyType::kString},
};
const size_t QCMN_FORMAT_KEY_COUNT = sizeof(QCMN_FORMAT_KEYS) / sizeof(QCMN_FORMAT_KEYS[0]);

const char* FourCC2MIME(uint32_t code) {
  const QCMN_CODEC* row = qcmn_codec_with_mime(code);
  return row ? *row->mime : QCMN_MIMETYPE_UNKNOWN;
}

// Host stand-in of <media/NdkMediaFormat.h>: AMediaFormat, a typed key/value store, and the
// format keys an extractor uses. Same names and signatures as the media NDK of API 30.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <media/NdkMediaError.h>

#ifdef __cplusplus
extern "C" {
#endif

struct AMediaFormat;
typedef struct AMediaFormat AMediaFormat;

AMediaFormat* AMediaFormat_new();
media_status_t AMediaFormat_delete(AMediaFormat* format);
void AMediaFormat_clear(AMediaFormat* format);
media_status_t AMediaFormat_copy(AMediaFormat* to, AMediaFormat* from);
const char* AMediaFormat_toString(AMediaFormat* format);

bool AMediaFormat_getInt32(AMediaFormat* format, const char* name, int32_t* out);
bool AMediaFormat_getInt64(AMediaFormat* format, const char* name, int64_t* out);
bool AMediaFormat_getFloat(AMediaFormat* format, const char* name, float* out);
bool AMediaFormat_getDouble(AMediaFormat* format, const char* name, double* out);
bool AMediaFormat_getSize(AMediaFormat* format, const char* name, size_t* out);
bool AMediaFormat_getRect(AMediaFormat* format, const char* name, int32_t* left, int32_t* top,
                          int32_t* right, int32_t* bottom);
bool AMediaFormat_getBuffer(AMediaFormat* format, const char* name, void** data, size_t* size);
bool AMediaFormat_getString(AMediaFormat* format, const char* name, const char** out);

void AMediaFormat_setInt32(AMediaFormat* format, const char* name, int32_t value);
void AMediaFormat_setInt64(AMediaFormat* format, const char* name, int64_t value);
void AMediaFormat_setFloat(AMediaFormat* format, const char* name, float value);
void AMediaFormat_setDouble(AMediaFormat* format, const char* name, double value);
void AMediaFormat_setSize(AMediaFormat* format, const char* name, size_t value);
void AMediaFormat_setRect(AMediaFormat* format, const char* name, int32_t left, int32_t top,
                          int32_t right, int32_t bottom);
void AMediaFormat_setString(AMediaFormat* format, const char* name, const char* value);
void AMediaFormat_setBuffer(AMediaFormat* format, const char* name, const void* data, size_t size);

extern const char* AMEDIAFORMAT_KEY_MIME;
extern const char* AMEDIAFORMAT_KEY_DURATION;
extern const char* AMEDIAFORMAT_KEY_WIDTH;
extern const char* AMEDIAFORMAT_KEY_HEIGHT;
extern const char* AMEDIAFORMAT_KEY_CSD_0;
extern const char* AMEDIAFORMAT_KEY_CSD_1;
extern const char* AMEDIAFORMAT_KEY_CSD_2;
extern const char* AMEDIAFORMAT_KEY_CSD;
extern const char* AMEDIAFORMAT_KEY_CSD_AVC;
extern const char* AMEDIAFORMAT_KEY_CSD_HEVC;
extern const char* AMEDIAFORMAT_KEY_ESDS;
extern const char* AMEDIAFORMAT_KEY_D263;
extern const char* AMEDIAFORMAT_KEY_MPEG2_STREAM_HEADER;
extern const char* AMEDIAFORMAT_KEY_CHANNEL_COUNT;
extern const char* AMEDIAFORMAT_KEY_CHANNEL_MASK;
extern const char* AMEDIAFORMAT_KEY_SAMPLE_RATE;
extern const char* AMEDIAFORMAT_KEY_BITS_PER_SAMPLE;
extern const char* AMEDIAFORMAT_KEY_PCM_ENCODING;
extern const char* AMEDIAFORMAT_KEY_PCM_BIG_ENDIAN;
extern const char* AMEDIAFORMAT_KEY_LANGUAGE;
extern const char* AMEDIAFORMAT_KEY_MAX_INPUT_SIZE;
extern const char* AMEDIAFORMAT_KEY_FRAME_RATE;
extern const char* AMEDIAFORMAT_KEY_DISPLAY_WIDTH;
extern const char* AMEDIAFORMAT_KEY_DISPLAY_HEIGHT;
extern const char* AMEDIAFORMAT_KEY_SAR_WIDTH;
extern const char* AMEDIAFORMAT_KEY_SAR_HEIGHT;
extern const char* AMEDIAFORMAT_KEY_DISPLAY_CROP;
extern const char* AMEDIAFORMAT_KEY_ROTATION;
extern const char* AMEDIAFORMAT_KEY_COLOR_RANGE;
extern const char* AMEDIAFORMAT_KEY_COLOR_STANDARD;
extern const char* AMEDIAFORMAT_KEY_COLOR_TRANSFER;
extern const char* AMEDIAFORMAT_KEY_HDR_STATIC_INFO;
extern const char* AMEDIAFORMAT_KEY_AAC_PROFILE;
extern const char* AMEDIAFORMAT_KEY_IS_ADTS;
extern const char* AMEDIAFORMAT_KEY_BIT_RATE;
extern const char* AMEDIAFORMAT_KEY_MAX_BIT_RATE;
extern const char* AMEDIAFORMAT_KEY_ENCODER_DELAY;
extern const char* AMEDIAFORMAT_KEY_ENCODER_PADDING;
extern const char* AMEDIAFORMAT_KEY_TRACK_ID;
extern const char* AMEDIAFORMAT_KEY_TRACK_INDEX;
extern const char* AMEDIAFORMAT_KEY_IS_DEFAULT;
extern const char* AMEDIAFORMAT_KEY_IS_FORCED_SUBTITLE;
extern const char* AMEDIAFORMAT_KEY_IS_AUTOSELECT;
extern const char* AMEDIAFORMAT_KEY_TEXT_FORMAT_DATA;
extern const char* AMEDIAFORMAT_KEY_TIME_US;
extern const char* AMEDIAFORMAT_KEY_IS_SYNC_FRAME;
extern const char* AMEDIAFORMAT_KEY_VALID_SAMPLES;
extern const char* AMEDIAFORMAT_KEY_TARGET_TIME;
extern const char* AMEDIAFORMAT_KEY_FRAME_COUNT;
extern const char* AMEDIAFORMAT_KEY_THUMBNAIL_TIME;
extern const char* AMEDIAFORMAT_KEY_THUMBNAIL_WIDTH;
extern const char* AMEDIAFORMAT_KEY_THUMBNAIL_HEIGHT;
extern const char* AMEDIAFORMAT_KEY_THUMBNAIL_CSD_HEVC;
extern const char* AMEDIAFORMAT_KEY_ALBUM;
extern const char* AMEDIAFORMAT_KEY_ALBUMARTIST;
extern const char* AMEDIAFORMAT_KEY_ARTIST;
extern const char* AMEDIAFORMAT_KEY_AUTHOR;
extern const char* AMEDIAFORMAT_KEY_COMPOSER;
extern const char* AMEDIAFORMAT_KEY_DATE;
extern const char* AMEDIAFORMAT_KEY_GENRE;
extern const char* AMEDIAFORMAT_KEY_TITLE;
extern const char* AMEDIAFORMAT_KEY_YEAR;
extern const char* AMEDIAFORMAT_KEY_CDTRACKNUMBER;
extern const char* AMEDIAFORMAT_KEY_DISCNUMBER;
extern const char* AMEDIAFORMAT_KEY_COMPILATION;
extern const char* AMEDIAFORMAT_KEY_LYRICIST;
extern const char* AMEDIAFORMAT_KEY_LOCATION;
extern const char* AMEDIAFORMAT_KEY_MANUFACTURER;
extern const char* AMEDIAFORMAT_KEY_ALBUMART;
extern const char* AMEDIAFORMAT_KEY_LOOP;
extern const char* AMEDIAFORMAT_KEY_MAX_WIDTH;
extern const char* AMEDIAFORMAT_KEY_MAX_HEIGHT;
extern const char* AMEDIAFORMAT_KEY_PROFILE;
extern const char* AMEDIAFORMAT_KEY_LEVEL;

#ifdef __cplusplus
}
#endif

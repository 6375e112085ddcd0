// The host plug-in ABI: record layouts the framework relies on, the UUID helper, the read
// options and the C wrappers over the helper classes.
#include <gtest/gtest.h>

#include <media/MediaExtractorPluginHelper.h>
#include <stddef.h>

namespace android {
namespace {

#if defined(__arm__)
static_assert(sizeof(CDataSource) == 20, "CDataSource");
static_assert(sizeof(CMediaBuffer) == 32, "CMediaBuffer");
static_assert(sizeof(CMediaBufferGroup) == 20, "CMediaBufferGroup");
static_assert(sizeof(CMediaTrack) == 28, "CMediaTrack");
static_assert(sizeof(CMediaExtractor) == 36, "CMediaExtractor");
static_assert(sizeof(ExtractorDef) == 36 && offsetof(ExtractorDef, u) == 28, "ExtractorDef");
#elif defined(__x86_64__)
static_assert(sizeof(CDataSource) == 40 && sizeof(CMediaBuffer) == 64, "C records");
static_assert(sizeof(CMediaTrack) == 56 && sizeof(CMediaExtractor) == 72, "C records");
static_assert(sizeof(ExtractorDef) == 48 && offsetof(ExtractorDef, u) == 32, "ExtractorDef");
#endif

// A track that records what the wrapper passes on.
class RecordingTrack : public MediaTrackHelper {
 public:
  media_status_t start() override { return mBufferGroup ? AMEDIA_OK : AMEDIA_ERROR_UNKNOWN; }
  media_status_t stop() override { return AMEDIA_ERROR_IO; }
  media_status_t getFormat(AMediaFormat*) override { return AMEDIA_OK; }
  media_status_t read(MediaBufferHelper** buffer, const ReadOptions* options) override {
    int64_t t = 0;
    ReadOptions::SeekMode mode;
    seeked = options && options->getSeekTo(&t, &mode) ? t : -1;
    *buffer = nullptr;
    return AMEDIA_ERROR_END_OF_STREAM;
  }
  int64_t seeked = -2;
};

class OneTrackExtractor : public MediaExtractorPluginHelper {
 public:
  size_t countTracks() override { return 1; }
  MediaTrackHelper* getTrack(size_t index) override {
    return index == 0 ? new RecordingTrack() : nullptr;
  }
  media_status_t getTrackMetaData(AMediaFormat*, size_t, uint32_t) override { return AMEDIA_OK; }
  media_status_t getMetaData(AMediaFormat*) override { return AMEDIA_OK; }
};

TEST(HostPluginAbi, WrappersForwardThroughTheCTables) {
  CMediaExtractor* ex = wrap(new OneTrackExtractor());
  EXPECT_EQ(ex->countTracks(ex->data), 1u);
  EXPECT_EQ(ex->flags(ex->data), 15u);
  EXPECT_STREQ(ex->name(ex->data), "<unspecified>");
  EXPECT_EQ(ex->setMediaCas(ex->data, nullptr, 0), AMEDIA_ERROR_INVALID_OPERATION);
  EXPECT_EQ(ex->getTrack(ex->data, 1), nullptr);
  CMediaTrack* track = ex->getTrack(ex->data, 0);
  ASSERT_NE(track, nullptr);
  CMediaBufferGroup group = {};
  EXPECT_EQ(track->start(track->data, &group), AMEDIA_OK);  // the helper got a buffer group
  CMediaBuffer* buffer = reinterpret_cast<CMediaBuffer*>(0x1);
  EXPECT_EQ(track->read(track->data, &buffer, SEEK | SEEK_NEXT_SYNC, 777),
            AMEDIA_ERROR_END_OF_STREAM);
  EXPECT_EQ(buffer, reinterpret_cast<CMediaBuffer*>(0x1));  // untouched without a buffer
  EXPECT_EQ(static_cast<RecordingTrack*>(track->data)->seeked, 777);
  EXPECT_FALSE(track->supportsNonBlockingRead(track->data));
  track->free(track->data);
  free(track);
  ex->free(ex->data);
  free(ex);
}

}  // namespace
}  // namespace android

// The framework's buffer group as a plug-in meets it through the C tables.
#include <gtest/gtest.h>

#include <host/host_buffer_group.h>
#include <media/NdkMediaFormat.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using android::CMediaBuffer;

struct Group {
  host::MediaBufferGroup host;
  android::CMediaBufferGroup* c = host.wrapper();

  bool init(size_t n, size_t size) { return c->init(c->handle, n, size, 0); }
  media_status_t acquire(CMediaBuffer** b, bool nonBlocking = true, size_t requested = 0) {
    return c->acquire_buffer(c->handle, b, nonBlocking, requested);
  }
  bool has_buffers() { return c->has_buffers(c->handle); }
};

size_t Size(CMediaBuffer* b) {
  return b->size(b->handle);
}
void Release(CMediaBuffer* b) {
  b->release(b->handle);
}

TEST(PlatformBuffers, AcquireReleaseAndSizes) {
  Group g;
  CMediaBuffer* b = nullptr;
  EXPECT_EQ(g.acquire(&b), AMEDIA_ERROR_UNKNOWN);  // no buffers yet
  EXPECT_FALSE(g.has_buffers());
  ASSERT_TRUE(g.init(2, 100));
  g.c->add_buffer(g.c->handle, 400);
  EXPECT_EQ(g.host.buffer_count(), 3u);

  CMediaBuffer* big = nullptr;
  ASSERT_EQ(g.acquire(&big, true, 300), AMEDIA_OK);  // the one that fits
  EXPECT_EQ(Size(big), 400u);
  CMediaBuffer* any1 = nullptr;
  CMediaBuffer* any2 = nullptr;
  ASSERT_EQ(g.acquire(&any1), AMEDIA_OK);
  ASSERT_EQ(g.acquire(&any2), AMEDIA_OK);
  EXPECT_NE(any1, any2);
  EXPECT_EQ(g.host.acquired_count(), 3u);
  EXPECT_FALSE(g.has_buffers());
  b = big;
  EXPECT_EQ(g.acquire(&b), AMEDIA_ERROR_UNKNOWN);  // none free, non-blocking
  EXPECT_EQ(b, nullptr);

  Release(any1);
  EXPECT_TRUE(g.has_buffers());
  // Only a 100-byte buffer is free: it is swapped for one of 1.5 times the request.
  ASSERT_EQ(g.acquire(&b, true, 200), AMEDIA_OK);
  EXPECT_EQ(Size(b), 300u);
  EXPECT_EQ(g.host.buffer_count(), 3u);
  Release(b);
  Release(any2);
  Release(big);
  EXPECT_EQ(g.host.acquired_count(), 0u);
}

TEST(PlatformBuffers, AcquireResetsTheRangeButKeepsTheMetadata) {
  Group g;
  ASSERT_TRUE(g.init(1, 64));
  CMediaBuffer* b = nullptr;
  ASSERT_EQ(g.acquire(&b), AMEDIA_OK);
  EXPECT_EQ(b->range_offset(b->handle), 0u);
  EXPECT_EQ(b->range_length(b->handle), 64u);
  b->set_range(b->handle, 10, 54);  // up to the very end
  EXPECT_EQ(b->range_offset(b->handle), 10u);
  EXPECT_EQ(b->range_length(b->handle), 54u);
  AMediaFormat* meta = b->meta_data(b->handle);
  EXPECT_EQ(b->meta_data(b->handle), meta);
  AMediaFormat_setInt64(meta, AMEDIAFORMAT_KEY_TIME_US, 40000);
  AMediaFormat_setInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, 1);
  Release(b);

  CMediaBuffer* again = nullptr;
  ASSERT_EQ(g.acquire(&again), AMEDIA_OK);
  ASSERT_EQ(again, b);
  EXPECT_EQ(b->range_offset(b->handle), 0u);
  EXPECT_EQ(b->range_length(b->handle), 64u);
  int32_t sync = 0;
  EXPECT_TRUE(AMediaFormat_getInt32(b->meta_data(b->handle), "is-sync-frame", &sync));
  EXPECT_EQ(sync, 1);  // left over from the earlier read
  Release(b);
}

TEST(PlatformBuffersDeathTest, RangePastTheEndAborts) {
  Group g;
  ASSERT_TRUE(g.init(1, 16));
  CMediaBuffer* b = nullptr;
  ASSERT_EQ(g.acquire(&b), AMEDIA_OK);
  EXPECT_DEATH(b->set_range(b->handle, 8, 9), "set_range\\(8, 9\\) past the end of a 16-byte");
  EXPECT_DEATH(b->set_range(b->handle, 1, SIZE_MAX), "past the end");  // no wrap-around
  Release(b);
}

TEST(PlatformBuffers, BlockingAcquireWaitsForARelease) {
  Group g;
  ASSERT_TRUE(g.init(1, 8));
  CMediaBuffer* held = nullptr;
  ASSERT_EQ(g.acquire(&held), AMEDIA_OK);
  std::atomic<bool> released(false);
  std::atomic<bool> woke_early(false);
  std::thread reader([&] {
    CMediaBuffer* b = nullptr;
    EXPECT_EQ(g.acquire(&b, false), AMEDIA_OK);
    woke_early = !released;
    EXPECT_EQ(b, held);
    Release(b);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  released = true;
  Release(held);
  reader.join();
  EXPECT_FALSE(woke_early);
  EXPECT_EQ(g.host.acquired_count(), 0u);
}

}  // namespace

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

TEST(PlatformBuffersDeathTest, RangePastTheEndAborts) {
  Group g;
  ASSERT_TRUE(g.init(1, 16));
  CMediaBuffer* b = nullptr;
  ASSERT_EQ(g.acquire(&b), AMEDIA_OK);
  EXPECT_DEATH(b->set_range(b->handle, 8, 9), "set_range\\(8, 9\\) past the end of a 16-byte");
  EXPECT_DEATH(b->set_range(b->handle, 1, SIZE_MAX), "past the end");  // no wrap-around
  Release(b);
}

}  // namespace

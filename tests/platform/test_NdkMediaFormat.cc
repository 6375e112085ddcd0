// The host AMediaFormat behaves as the framework's does where the extractor can tell: typed
// getters, replacement in place, insertion order, shared buffers in copies, the lifetime of
// handed-out strings and the 64-entry limit.
#include <gtest/gtest.h>

#include <host/host_media_format.h>
#include <media/NdkMediaFormat.h>
#include <string.h>

#include <string>

namespace {

struct Format {
  Format() : f(AMediaFormat_new()) {}
  ~Format() { AMediaFormat_delete(f); }
  AMediaFormat* f;
};

TEST(HostMediaFormat, StringsAndBuffersLiveAsTheFrameworksDo) {
  Format m;
  char value[] = "eng";
  AMediaFormat_setString(m.f, AMEDIAFORMAT_KEY_LANGUAGE, value);
  value[0] = 'X';  // the format keeps its own copy
  const char* first = nullptr;
  ASSERT_TRUE(AMediaFormat_getString(m.f, "language", &first));
  EXPECT_STREQ(first, "eng");
  AMediaFormat_setString(m.f, AMEDIAFORMAT_KEY_MIME, "audio/opus");
  const char* mime = nullptr;
  ASSERT_TRUE(AMediaFormat_getString(m.f, "mime", &mime));
  AMediaFormat_clear(m.f);
  EXPECT_STREQ(first, "eng");  // valid after clear, until the next getString of that key
  EXPECT_STREQ(mime, "audio/opus");

  uint8_t bytes[] = {7, 8, 9};
  AMediaFormat_setBuffer(m.f, "csd-1", bytes, sizeof(bytes));
  bytes[0] = 0;
  Format copy;
  AMediaFormat_setInt32(copy.f, "old", 1);
  ASSERT_EQ(AMediaFormat_copy(copy.f, m.f), AMEDIA_OK);
  int32_t old = 0;
  EXPECT_FALSE(AMediaFormat_getInt32(copy.f, "old", &old));  // the copy starts from empty
  void* a = nullptr;
  void* c = nullptr;
  size_t na = 0, nc = 0;
  ASSERT_TRUE(AMediaFormat_getBuffer(m.f, "csd-1", &a, &na));
  ASSERT_TRUE(AMediaFormat_getBuffer(copy.f, "csd-1", &c, &nc));
  EXPECT_EQ(a, c);  // shared, not duplicated
  EXPECT_EQ(nc, 3u);
  EXPECT_EQ(static_cast<uint8_t*>(c)[0], 7);
  EXPECT_EQ(AMediaFormat_copy(nullptr, m.f), AMEDIA_ERROR_INVALID_PARAMETER);
}

}  // namespace

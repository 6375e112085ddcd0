// The libutils, libbase, binder and liblog stand-ins plug-in code leans on: reference counting,
// String8, properties, the calling uid and assertions.
#define LOG_TAG "PlatformTest"
#include <gtest/gtest.h>

#include <android-base/properties.h>
#include <android/binder_ibinder.h>
#include <host/host_binder.h>
#include <host/host_log.h>
#include <media/stagefright/foundation/ADebug.h>
#include <stdio.h>
#include <unistd.h>
#include <utils/RefBase.h>
#include <utils/String8.h>

#include <string>
#include <vector>

namespace android {
namespace {

std::vector<std::string> g_events;

struct Counted : public RefBase {
  explicit Counted(const char* name) : name(name) {}
  ~Counted() override { g_events.push_back(std::string(name) + " deleted"); }
  void onFirstRef() override { g_events.push_back(std::string(name) + " first"); }
  void onLastStrongRef(const void*) override { g_events.push_back(std::string(name) + " last"); }
  const char* name;
};

struct Derived : public Counted {
  Derived() : Counted("derived") {}
};

TEST(PlatformRefBase, LastStrongReferenceDeletes) {
  g_events.clear();
  {
    sp<Counted> a = new Counted("a");
    EXPECT_EQ(a->getStrongCount(), 1);
    sp<Counted> b = a;
    sp<Counted> c(std::move(b));
    EXPECT_TRUE(b == nullptr);
    EXPECT_TRUE(c == a && c != nullptr);
    EXPECT_EQ(a->getStrongCount(), 2);
    a.clear();
    sp<Counted>& same = c;
    c = same;  // self-assignment keeps the object
    EXPECT_EQ(c->getStrongCount(), 1);
    EXPECT_EQ(g_events, std::vector<std::string>{"a first"});
  }
  EXPECT_EQ(g_events, (std::vector<std::string>{"a first", "a last", "a deleted"}));

  g_events.clear();
  sp<Derived> d = new Derived;
  sp<Counted> base = d;  // converts, shares the count
  EXPECT_EQ(base->getStrongCount(), 2);
  EXPECT_TRUE(base == d);
  d = nullptr;
  base = new Counted("next");  // the old object goes when the pointer moves on
  EXPECT_EQ(g_events, (std::vector<std::string>{"derived first", "next first", "derived last",
                                                "derived deleted"}));
}

TEST(PlatformString8, AppendAndFormat) {
  String8 s("track");
  s.append(" ");
  EXPECT_EQ(s.appendFormat("%d/%s", 3, "mkv"), OK);
  EXPECT_STREQ(s.c_str(), "track 3/mkv");
  EXPECT_STREQ(s.string(), s.c_str());
  EXPECT_EQ(s.size(), 11u);
  EXPECT_EQ(s.length(), 11u);
  const std::string big(3000, 'x');  // longer than any fixed buffer
  s.appendFormat("%s", big.c_str());
  EXPECT_EQ(s.length(), 3011u);
}

TEST(PlatformProperties, BoolParsingAndDefaults) {
  const std::string key = "test.platform.bool";
  EXPECT_TRUE(base::GetBoolProperty("test.platform.unset", true));
  EXPECT_FALSE(base::GetBoolProperty("test.platform.unset", false));
  for (const char* v : {"1", "y", "yes", "on", "true"}) {
    ASSERT_TRUE(base::SetProperty(key, v));
    EXPECT_TRUE(base::GetBoolProperty(key, false)) << v;
  }
  for (const char* v : {"0", "n", "no", "off", "false"}) {
    ASSERT_TRUE(base::SetProperty(key, v));
    EXPECT_FALSE(base::GetBoolProperty(key, true)) << v;
  }
  for (const char* v : {"", "TRUE", "2", " yes", "yes "}) {
    ASSERT_TRUE(base::SetProperty(key, v));
    EXPECT_TRUE(base::GetBoolProperty(key, true)) << '"' << v << '"';
    EXPECT_FALSE(base::GetBoolProperty(key, false)) << '"' << v << '"';
  }
  EXPECT_EQ(base::GetProperty(key, "dflt"), "yes ");
  base::SetProperty(key, "");
  EXPECT_EQ(base::GetProperty(key, "dflt"), "dflt");
}

TEST(PlatformBinder, CallingUidCanBeChosen) {
  EXPECT_EQ(AIBinder_getCallingUid(), getuid());
  host_binder_set_calling_uid(1013);
  EXPECT_EQ(AIBinder_getCallingUid(), 1013u);
  host_binder_set_calling_uid(0);
  EXPECT_EQ(AIBinder_getCallingUid(), 0u);
  host_binder_reset_calling_uid();
  EXPECT_EQ(AIBinder_getCallingUid(), getuid());
}

void PrintAssert(const char* cond, const char* tag, const char* message) {
  fprintf(stderr, "hook cond=[%s] tag=[%s] message=[%s]\n", cond ? cond : "(null)", tag, message);
}

int Twice(int x) {
  return 2 * x;
}

TEST(PlatformLog, DebugReachesStderrOnlyWhenAskedFor) {
  testing::internal::CaptureStderr();
  __android_log_print(ANDROID_LOG_DEBUG, "t", "hidden %d", 1);
  __android_log_print(ANDROID_LOG_INFO, "t", "shown %d", 2);
  const int32_t before = __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
  __android_log_print(ANDROID_LOG_DEBUG, "t", "now shown %d", 3);
  __android_log_set_minimum_priority(before);
  const std::string out = testing::internal::GetCapturedStderr();
  EXPECT_EQ(before, ANDROID_LOG_INFO);
  EXPECT_EQ(out, "t I shown 2\nt D now shown 3\n");
}

TEST(PlatformLogDeathTest, AssertHookSeesConditionTagAndMessage) {
  host_log_set_assert_hook(&PrintAssert);
  const int three = Twice(1) + 1;  // not foldable into a constant condition
  EXPECT_DEATH(CHECK(three == 4),
               "hook cond=\\[!\\(three == 4\\)\\] tag=\\[PlatformTest\\] "
               "message=\\[.*test_runtime.cc:[0-9]+ CHECK\\(three == 4\\) failed.\\]");
  EXPECT_DEATH(LOG_ALWAYS_FATAL_IF(three > 2, "three is %d", three),
               "cond=\\[three > 2\\] tag=\\[PlatformTest\\] message=\\[three is 3\\]");
  EXPECT_DEATH(LOG_ALWAYS_FATAL_IF(three != 4), "message=\\[Assertion failed: three != 4\\]");
  host_log_set_assert_hook(nullptr);
  CHECK(three == 3);
  LOG_ALWAYS_FATAL_IF(three != 3, "not reached");
}

}  // namespace
}  // namespace android

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

void PrintAssert(const char* cond, const char* tag, const char* message) {
  fprintf(stderr, "hook cond=[%s] tag=[%s] message=[%s]\n", cond ? cond : "(null)", tag, message);
}

int Twice(int x) {
  return 2 * x;
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

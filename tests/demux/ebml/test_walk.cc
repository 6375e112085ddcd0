// The child walker's policies, on a made-up master whose rules cover every field kind.
#include <gtest/gtest.h>

#include <string.h>

#include "demux/ebml/qmkvd_walk.h"
#include "mem_source.h"
#include "mkv_builder.h"

namespace mkvtest {
namespace {

struct Record {
  uint8_t small;
  uint32_t word;
  uint64_t wide;
  char text[8];
  uint8_t raw[4];
  int handled;
};

enum : uint32_t {
  kSmall = 0x81,
  kWord = 0x82,
  kWide = 0x83,
  kText = 0x84,
  kRaw = 0x85,
  kStop = 0x86,
  kOddStep = 0x87,
  kSkipped = 0x88
};

int Stop(QMKVD_WALK*, const QMKVD_CHILD*, void* record) {
  static_cast<Record*>(record)->handled++;
  return QMKVD_WALK_STOP;
}

// Moves on one byte into its own payload instead of past it.
int OddStep(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  static_cast<Record*>(record)->handled++;
  walk->next_pos = child->data_pos + 1;
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kRules[] = {
    QMKVD_RULE_UINT(kSmall, Record, small, 8), QMKVD_RULE_UINT(kWord, Record, word, 8),
    QMKVD_RULE_UINT(kWide, Record, wide, 8),   QMKVD_RULE_TEXT(kText, Record, text),
    QMKVD_RULE_BYTES(kRaw, Record, raw),       QMKVD_RULE_HANDLER(kStop, Stop),
    QMKVD_RULE_HANDLER(kOddStep, OddStep),     QMKVD_RULE_SKIP(kSkipped),
};

class WalkTest : public ::testing::Test {
 protected:
  // Walks the children of a master made of these elements, placed after `lead` filler bytes.
  int Walk(const std::vector<Element>& children, QMKVD_MASTER master,
           uint64_t declared_size = UINT64_MAX) {
    std::vector<uint8_t> bytes(3, 0xEE);
    std::vector<uint8_t> body = Serialize(children);
    bytes.insert(bytes.end(), body.begin(), body.end());
    file_.reset(new MemFile(bytes));
    fp_ = file_->mfal.open(&file_->mfal, 0);
    uint64_t size = declared_size == UINT64_MAX ? body.size() : declared_size;
    int r = qmkvd_walk_children(nullptr, &file_->mfal, fp_, 3, size, &master, &rec_, nullptr);
    file_->mfal.getpos(fp_, &end_pos_);
    file_->mfal.close(fp_);
    return r;
  }
  static QMKVD_MASTER Policy(bool skip_empty, bool cap, QMKVD_OVERRUN overrun) {
    return QMKVD_MASTER{kRules, sizeof(kRules) / sizeof(kRules[0]), skip_empty, cap, overrun};
  }

  std::unique_ptr<MemFile> file_;
  QCMN_MFAL_FILE* fp_ = nullptr;
  Record rec_ = {};
  int64_t end_pos_ = 0;
};

// Numbers and bytes past their field fail the walk; a text is cut to its field and the walk
// goes on after it.
TEST_F(WalkTest, FieldLimitsFailTheWalk) {
  EXPECT_EQ(Walk({String(kText, "abcdefghij"), Uint(kSmall, 4)},
                 Policy(true, true, QMKVD_OVERRUN_FOLLOW)),
            0);
  EXPECT_STREQ(rec_.text, "abcdefg");
  EXPECT_EQ(rec_.small, 4);
  EXPECT_EQ(Walk({Binary(kRaw, {1, 2, 3, 4, 5})}, Policy(true, true, QMKVD_OVERRUN_FOLLOW)), -1);
  EXPECT_EQ(Walk({Uint(kWide, 1).Width(9)}, Policy(true, true, QMKVD_OVERRUN_FOLLOW)), -1);
  EXPECT_EQ(Walk({Uint(kSkipped, 1).Width(9)}, Policy(true, true, QMKVD_OVERRUN_FOLLOW)), 0);
}

TEST_F(WalkTest, OverrunningChildFollowsStopsOrFails) {
  // The master claims 6 bytes; its second child runs past them.
  std::vector<Element> kids = {Uint(kSmall, 1), Uint(kWord, 0x01020304)};
  EXPECT_EQ(Walk(kids, Policy(true, true, QMKVD_OVERRUN_FOLLOW), 6), 0);
  EXPECT_EQ(rec_.word, 0x01020304u);
  rec_ = {};
  EXPECT_EQ(Walk(kids, Policy(true, true, QMKVD_OVERRUN_STOP), 6), QMKVD_WALK_STOP);
  EXPECT_EQ(rec_.small, 1);
  EXPECT_EQ(rec_.word, 0u);
  EXPECT_EQ(end_pos_, 3 + 3);  // set back to the overrunning child's first byte
  EXPECT_EQ(Walk(kids, Policy(true, true, QMKVD_OVERRUN_FAIL), 6), -1);
}

TEST(WalkPositions, SaturateInsteadOfOverflowing) {
  EXPECT_EQ(qmkvd_pos_add(10, 5), 15);
  EXPECT_EQ(qmkvd_pos_add(INT64_MAX - 1, 5), INT64_MAX);
  EXPECT_EQ(qmkvd_pos_add(0, UINT64_MAX), INT64_MAX);
  EXPECT_EQ(qmkvd_pos_add(-10, 4), -6);
}

}  // namespace
}  // namespace mkvtest

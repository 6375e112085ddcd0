// The child walker's policies, on a made-up master whose rules cover every field kind.
#include <gtest/gtest.h>

#include <string.h>

#include <tuple>

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
  uint32_t defaulted;
  uint8_t* blob;
  uint32_t blob_size;
};

enum : uint32_t {
  kSmall = 0x81,
  kWord = 0x82,
  kWide = 0x83,
  kText = 0x84,
  kRaw = 0x85,
  kStop = 0x86,
  kOddStep = 0x87,
  kSkipped = 0x88,
  kDefaulted = 0x89,
  kBlob = 0x8A,
  kCluster = 0x1F43B675,
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
    QMKVD_RULE_UINT(kSmall, Record, small, 8),
    QMKVD_RULE_UINT(kWord, Record, word, 8),
    QMKVD_RULE_UINT(kWide, Record, wide, 8),
    QMKVD_RULE_TEXT(kText, Record, text),
    QMKVD_RULE_BYTES(kRaw, Record, raw),
    QMKVD_RULE_HANDLER(kStop, Stop),
    QMKVD_RULE_HANDLER(kOddStep, OddStep),
    QMKVD_RULE_SKIP(kSkipped),
    QMKVD_RULE_UINT_DEFAULT(kDefaulted, Record, defaulted, 8, 7),
    QMKVD_RULE_BLOB(kBlob, Record, blob, blob_size),
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
  static QMKVD_MASTER Policy(bool skip_empty, bool cap, QMKVD_OVERRUN overrun,
                             QMKVD_ENDING ending = QMKVD_ENDS_AT_SIZE) {
    return QMKVD_MASTER{kRules, sizeof(kRules) / sizeof(kRules[0]), skip_empty, cap, overrun,
                        ending};
  }
  ~WalkTest() override { free(rec_.blob); }

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

// A default is in place before the first child, and a child the file has overrides it. A
// repeated blob replaces (and frees) the first; the record's blocks are released by the table.
TEST_F(WalkTest, DefaultsAndOwnedBlobsComeFromTheTable) {
  const QMKVD_MASTER master = Policy(true, true, QMKVD_OVERRUN_FOLLOW);
  EXPECT_EQ(Walk({Uint(kSmall, 1)}, master), 0);
  EXPECT_EQ(rec_.defaulted, 7u);
  EXPECT_EQ(Walk({Uint(kDefaulted, 3), Binary(kBlob, {1, 2}), Binary(kBlob, {3, 4, 5})}, master),
            0);
  EXPECT_EQ(rec_.defaulted, 3u);
  EXPECT_EQ(std::vector<uint8_t>(rec_.blob, rec_.blob + rec_.blob_size),
            std::vector<uint8_t>({3, 4, 5}));
  qmkvd_walk_release(&master, &rec_);
  EXPECT_TRUE(rec_.blob == nullptr && rec_.blob_size == 0);
}

// Where a master ends short of its size: at a header that cannot be read, and (for a master
// of unknown size) at an element only the Segment holds, with the position back at that header.
TEST_F(WalkTest, EndingPolicies) {
  const std::vector<Element> broken = {Uint(kSmall, 4), Raw({0x00, 0x81}), Uint(kWord, 5)};
  const std::vector<Element> cluster = {Uint(kSmall, 4), Uint(kCluster, 0), Uint(kWord, 5)};
  const std::tuple<const std::vector<Element>*, QMKVD_ENDING, int, uint32_t> kCases[] = {
      {&broken, QMKVD_ENDS_AT_SIZE, -1, 0},
      {&broken, QMKVD_ENDS_AT_UNREADABLE, QMKVD_WALK_ENDED, 0},
      {&cluster, QMKVD_ENDS_AT_UNREADABLE, 0, 5},
      {&cluster, QMKVD_ENDS_AT_SEGMENT_CHILD, QMKVD_WALK_ENDED, 0}};
  for (const auto& [children, ending, result, word] : kCases) {
    rec_ = {};
    EXPECT_EQ(Walk(*children, Policy(false, true, QMKVD_OVERRUN_FOLLOW, ending)), result) << ending;
    EXPECT_EQ(rec_.word, word) << ending;
    if (result == QMKVD_WALK_ENDED) {
      EXPECT_EQ(end_pos_, 3 + 3) << "back at the header it ended at";
    }
  }
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

// Simple tags and the text metadata that creation derives from them and from Info.
#include <gtest/gtest.h>

#include <string.h>

#include "demux_harness.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

Element Simple(const std::string& name, const std::string& value) {
  return Master(kSimpleTag, {String(kTagName, name), String(kTagString, value)});
}

std::vector<uint8_t> FileWithTags(std::vector<Element> tags, std::vector<Element> info = {}) {
  return MkvFile({Info(info), OneTrack(), Master(kTags, tags), SmallCluster()});
}

std::string SlotText(const QMKVD_METADATA* m, int slot) {
  const QMKVD_METADATA_SLOT& s = m->slots[slot - 1];
  return std::string(reinterpret_cast<const char*>(s.text), s.length);
}

TEST(Tags, TableIsBounded) {
  std::vector<Element> simple(1100, Simple("X", "y"));
  Created c(FileWithTags({Master(kTag, simple), Master(kTag, {Simple("TITLE", "late")})}));
  ASSERT_EQ(c.err(), 0);
  EXPECT_EQ(c.ctx()->tags.count, 1000u);
}

// DateUTC is the file's date, in ISO 8601's basic form; it says nothing of the year.
TEST(Metadata, DateFromDateUtc) {
  const int64_t year_ns = 31536000000000000LL;  // 365 days
  Created none(MkvFile({Info({Uint(kDateUtc, 0)}), OneTrack(), SmallCluster()}));
  ASSERT_EQ(none.err(), 0);
  EXPECT_EQ(none.info().metadata, nullptr);
  const struct {
    Element date;
    const char* text;
  } rows[] = {
      {Uint(kDateUtc, 1), "20010101T000000.000Z"},
      {Uint(kDateUtc, 19 * year_ns + 5), "20191228T000000.000Z"},  // 5 leap days on
      {Int(kDateUtc, -year_ns / 2).Width(8), "20000702T120000.000Z"},
      // Read unsigned: a negative date in fewer than 8 bytes is not sign-extended.
      {Int(kDateUtc, -year_ns / 2), "20021014T115954.000Z"},
  };
  for (const auto& row : rows) {
    Created c(MkvFile({Info({row.date}), OneTrack(), SmallCluster()}));
    ASSERT_NE(c.info().metadata, nullptr) << row.text;
    EXPECT_EQ(SlotText(c.info().metadata, 9), row.text);
    EXPECT_EQ(c.info().metadata->year, 0) << row.text;
  }
}

// The year of the work comes from the first release or recording date tag that starts with
// four digits.
TEST(Metadata, YearFromReleaseDateTags) {
  const struct {
    std::vector<Element> tags;
    int32_t year;
  } rows[] = {
      {{Simple("DATE_RELEASED", "2024-05-01")}, 2024},
      {{Simple("DATE_RECORDED", "1999")}, 1999},
      {{Simple("DATE_RELEASE", "2020")}, 2020},
      {{Simple("DATE_RELEASED", "20x4"), Simple("DATE_RECORDED", "1987-01")}, 1987},
      {{Simple("DATE_RELEASED", "999")}, 0},
      {{Simple("DATE_ENCODED", "2011")}, 0},
  };
  for (const auto& row : rows) {
    Created c(FileWithTags({Master(kTag, row.tags)}));
    ASSERT_EQ(c.err(), 0);
    EXPECT_EQ(c.info().metadata->year, row.year);
  }
}

}  // namespace
}  // namespace mkvtest

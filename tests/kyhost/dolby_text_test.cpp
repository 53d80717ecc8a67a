#include "kyhost/text/dolby_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "host/dolby.h"

namespace {

using namespace kyhost;

TEST(CodingModeText, NamesTheChannels) {
  EXPECT_EQ(codingModeText(0, false), "1+1 Ch1 Ch2");
  EXPECT_EQ(codingModeText(1, false), "1/0 C");
  EXPECT_EQ(codingModeText(2, true), "2/0 L R + LFE");
  EXPECT_EQ(codingModeText(5, false), "3/1 L C R S");
  EXPECT_EQ(codingModeText(7, true), "3/2 L C R Ls Rs + LFE");
  EXPECT_EQ(codingModeText(8, false), "unknown (8)");
}

TEST(BitStreamModeText, OfTheLastNumber_DependsOnTheChannels) {
  EXPECT_STREQ(bitStreamModeText(0, 2), "complete main");
  EXPECT_STREQ(bitStreamModeText(5, 1), "commentary");
  EXPECT_STREQ(bitStreamModeText(7, 1), "voice over");
  EXPECT_STREQ(bitStreamModeText(7, 2), "karaoke");
  EXPECT_STREQ(bitStreamModeText(-1, 2), "unknown");
}

// The two ends, no change, and the step of the exponent.
TEST(CompressionDb, FollowsTheStandard) {
  EXPECT_NEAR(compressionDb(0x00), 0.0, 0.001);
  EXPECT_NEAR(compressionDb(0x7F), 47.88, 0.02);
  EXPECT_NEAR(compressionDb(0x80), -48.16, 0.02);
  EXPECT_NEAR(compressionDb(0xFF), -0.28, 0.005);
  EXPECT_NEAR(compressionDb(0x10) - compressionDb(0x00), 6.02, 0.005);
}

using Records = std::map<std::string, std::vector<int16_t>>;

// A decoder that answers records, rows of int16 as the host's header numbers their fields.
class RecordPipe : public KyDecodePipe {
 public:
  explicit RecordPipe(Records answers) : KyDecodePipe(nullptr), records_(std::move(answers)) {}

  int getStreamParam(int kind, int index, char const* key, Any& value) const override {
    auto const found = records_.find(key);
    if (kind != kKindAudio || index != 1 || found == records_.end()) return -1;
    value.set(found->second.data(), static_cast<int>(found->second.size() * sizeof(int16_t)));
    return 0;
  }

 private:
  Records records_;
};

// ATSC A/52 table 5.8: acmod 2 is 2/0; a dialogue level of 27 is -27 dB.
Records stereo() {
  Records records;
  records["dd_config_info_tt"] = {1, 8, 0, -1, 768, 6, -1, -1};
  std::vector<int16_t> general(31, -1);
  std::copy_n(std::initializer_list<int16_t>{8, 0, 2, 0, 27}.begin(), 5, general.begin());
  general[9] = 2;
  records["dd_gen_info_tt"] = general;
  return records;
}

TEST(DolbyFacts, AreReadFromTheRecords) {
  AnyDict const facts = dolbyFacts(RecordPipe(stereo()), 1);
  EXPECT_EQ(facts["syntax"], Any("AC-3"));
  EXPECT_EQ(facts["bsid"], Any(8));
  EXPECT_EQ(facts["codingMode"], Any("2/0 L R"));
  EXPECT_EQ(facts["dialogueLevelDb"], Any(-27));
  EXPECT_EQ(facts["surroundEncoded"], Any(1));
  for (char const* absent : {"compressionWord", "copyright", "dialogueLevelDb2", "mixingRoom", "timeCode"})
    EXPECT_FALSE(facts.contains(absent)) << absent;
}

TEST(DolbyFacts, OfProductionAndTime_AreThereWhereTheRecordsAre) {
  Records records = stereo();
  std::vector<int16_t> production(20, -1), time(22, -1);
  production[0] = 25;
  production[1] = 2;
  std::copy_n(std::initializer_list<int16_t>{0, 1, 2, 3, 0, 4, 5, 6}.begin(), 8, time.begin());
  records["dd_prod_info_tt"] = production;
  records["dd_timecode_info_tt"] = time;
  AnyDict const facts = dolbyFacts(RecordPipe(records), 1);
  EXPECT_EQ(facts["mixingLevelDbSpl"], Any(105));
  EXPECT_EQ(facts["mixingRoom"], Any("small"));
  EXPECT_EQ(facts["timeCode"], Any("01:02:28:05"));
}

TEST(DolbyFacts, OfRecordsOfAnotherSize_AreNone) {
  for (char const* key : {"dd_config_info_tt", "dd_gen_info_tt"}) {
    Records records = stereo();
    records[key].pop_back();
    EXPECT_TRUE(dolbyFacts(RecordPipe(records), 1).empty()) << key;
    records.erase(key);
    EXPECT_TRUE(dolbyFacts(RecordPipe(records), 1).empty()) << key;
  }
  EXPECT_TRUE(dolbyFacts(RecordPipe(stereo()), 0).empty());
}

TEST(DolbyField, BehindTheRecord_IsAbsent) {
  int16_t const fields[] = {5, 6};
  Any const record(fields, sizeof fields);
  EXPECT_EQ(KyDolby::field(record, 0), 5);
  EXPECT_EQ(KyDolby::field(record, 1), 6);
  EXPECT_EQ(KyDolby::field(record, 2), kKyDolbyAbsent);
  EXPECT_EQ(KyDolby::field(record, -1), kKyDolbyAbsent);
  EXPECT_EQ(KyDolby::field(Any(), 0), kKyDolbyAbsent);
}

}  // namespace

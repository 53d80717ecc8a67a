// Settings of fewer characters than they have room for, and facts about streams that lack what is asked for.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class ForcedFormat : public ScriptedTest {
 protected:
  ForcedFormat() { library.addVideo(); }
  // What the user is told when the last of these is in force; nothing where it can be delivered.
  std::string complaintOf(std::vector<std::string> const& formats) {
    ready();
    for (std::string const& format : formats) EXPECT_EQ(pipe->setParam("FOURCC", format), 0);
    ky_log()->take();
    bool const opens = pipe->open() == 0;
    auto const messages = ky_log()->take();
    EXPECT_EQ(messages.empty(), opens);
    return messages.empty() ? "" : messages.front().text;
  }
  bool asksFor(std::string const& complaint, std::string const& format) const {
    return complaint.starts_with("Video stream #0 cannot be decoded as '" + format + "'");
  }
};

TEST_F(ForcedFormat, OfFewerThanFourCharactersEndsInZeros) {
  EXPECT_TRUE(asksFor(complaintOf({"ABCD"}), "ABCD"));
  EXPECT_TRUE(asksFor(complaintOf({"ABC"}), "ABC."));
  EXPECT_TRUE(asksFor(complaintOf({"A"}), "A..."));
  EXPECT_TRUE(asksFor(complaintOf({"WXYZ", "AB"}), "AB..")) << "nothing of the one before is left";
}

TEST_F(ForcedFormat, WithoutACharacterIsNone) {
  EXPECT_EQ(complaintOf({""}), "");
  EXPECT_EQ(complaintOf({"ABCD", ""}), "");
  EXPECT_EQ(info(kKindVideo, 0)["FOURCC"], Any(static_cast<int>(kyFourcc("I420"))));
}

class OddFacts : public BothHandlers {};

TEST_P(OddFacts, AStreamWithoutCodecParametersIsInNoProgram) {
  library.addVideo().id.program = 7;
  library.addVideo().id.program = 3;
  opened();
  for (Any const& odd : {Any(5), Any("7"), Any(AnyVector{Any(1)}), Any()}) {
    videoOf(*pipe, 1).info().set("codecParams", odd);
    AnyVector const programs = get("tsStructure").asVector();
    ASSERT_EQ(programs.size(), 1);
    EXPECT_EQ(programs[0].asDict()["program_number"], Any(7));
    EXPECT_EQ(programs[0].asDict()["vids"].asVector().size(), 1);
  }
}

TEST_P(OddFacts, AProgramNumberThatIsNoIntegerIsZero) {
  library.addVideo().id.program = 7;
  library.addVideo().id.program = 3;
  opened();
  for (Any const& odd : {Any("3"), Any(3.0), Any(3L), Any()}) {
    videoOf(*pipe, 1).info().child("codecParams").set("program_number", odd);
    AnyVector const programs = get("tsStructure").asVector();
    ASSERT_EQ(programs.size(), 2);
    EXPECT_EQ(programs[0].asDict()["program_number"], Any(0));
    EXPECT_EQ(programs[0].asDict()["vids"].asVector()[0].asDict()["nr"], Any(1));
  }
}

TEST_P(OddFacts, SmartRenderingOfSoundThatIsNotThereIsNotTakenFromTheVideoThatIs) {
  library.addVideo();
  library.addVideo();
  library.addAudio(kAudioLpcm);
  opened();
  Any value = 1;
  failing([&] { return pipe->getParam("srAudioParams", value); });
  expectException("./mpegdecode/mpegindec(590)", "mpegdec: invalid stream no. for 'srParams'");
  EXPECT_FALSE(value.valid());
}

TEST_P(OddFacts, OfTheFirstVideoStreamAreTypeNameAndGuessedProfile) {
  library.addVideo().info.profileType = 1;
  library.addVideo().info.profileType = 19;
  opened();
  EXPECT_EQ(get("typeName"), Any("VCD"));
  EXPECT_EQ(get("guessProfile"), Any(0x2050001));
  library.video[0].info.profileType = 19;
  library.video[1].info.profileType = 1;
  opened();
  EXPECT_EQ(get("typeName"), Any("HDV Hd2"));
  EXPECT_EQ(get("guessProfile"), Any(0x2150002));
}

UNDER_BOTH_HANDLERS(OddFacts);

}  // namespace

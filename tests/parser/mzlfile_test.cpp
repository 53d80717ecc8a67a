#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/parser/cardfixture.h"

namespace {

class TakeList : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    parser_.root_dir = card();
  }
  /// A file of any length that takes no room on the disk.
  std::string sparse(std::string_view name, off_t length) const {
    std::string const path = write(name, "");
    EXPECT_EQ(::truncate(path.c_str(), length), 0);
    return path;
  }
  OpenParser parser_;
};

TEST_F(TakeList, NamesExistingClipsInOrderWithTheirSizes) {
  write("card/BPAV/CLPR/b.MP4", "12345");
  write("card/BPAV/CLPR/a.MP4", "123");
  parser_.clip_list = {"CLPR/b.MP4", "CLPR/a.MP4"};
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n" + card() + "CLPR/b.MP4;  5\r\n" + card() + "CLPR/a.MP4;  3\r\n");
  EXPECT_EQ(parser_.error_text, "");
}

TEST_F(TakeList, SkipsAMissingClipWithoutAMessage) {
  write("card/BPAV/CLPR/a.MP4", "123");
  parser_.clip_list = {"CLPR/a.MP4", "CLPR/gone.MP4"};
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n" + card() + "CLPR/a.MP4;  3\r\n");
  EXPECT_EQ(parser_.error_text, "");
}

TEST_F(TakeList, WithoutAnyClipFailsAndKeepsItsFirstLine) {
  parser_.clip_list = {"CLPR/gone.MP4"};
  EXPECT_FALSE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(parser_.error_text, "No mp4 file found");
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n");
}

TEST_F(TakeList, ListsSizesModulo32Bits) {
  sparse("card/BPAV/CLPR/a.MP4", off_t{1} << 32);
  sparse("card/BPAV/CLPR/b.MP4", off_t{5} << 30);
  sparse("card/BPAV/CLPR/c.MP4", (off_t{1} << 32) - 1);
  parser_.clip_list = {"CLPR/a.MP4", "CLPR/b.MP4", "CLPR/c.MP4"};
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n" + card() + "CLPR/a.MP4;  0\r\n" + card() +
                                   "CLPR/b.MP4;  1073741824\r\n" + card() + "CLPR/c.MP4;  4294967295\r\n");
}

TEST_F(TakeList, AnEmptyNameWritesClipMzlIntoTheCurrentFolder) {
  write("card/BPAV/CLPR/a.MP4", "123");
  parser_.clip_list = {"CLPR/a.MP4"};
  std::filesystem::path const before = std::filesystem::current_path();
  std::filesystem::current_path(at("card"));
  bool const result = parser_.CreateMzlFile("");
  std::filesystem::current_path(before);
  EXPECT_TRUE(result);
  EXPECT_EQ(read(at("card/clip.mzl")), "XMP4\r\n" + card() + "CLPR/a.MP4;  3\r\n");
}

TEST_F(TakeList, TruncatesAnEarlierFile) {
  write("card/BPAV/CLPR/a.MP4", "123");
  write("t.mzl", std::string(5000, 'x'));
  parser_.clip_list = {"CLPR/a.MP4"};
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n" + card() + "CLPR/a.MP4;  3\r\n");
}

TEST_F(TakeList, ThatCannotBeCreatedIsNamed) {
  EXPECT_FALSE(parser_.CreateMzlFile(at("none/t.mzl")));
  EXPECT_EQ(parser_.error_text, "Unable to create mzl file : " + at("none/t.mzl"));
}

TEST_F(TakeList, IsForItsOwnerOnly) {
  write("card/BPAV/CLPR/a.MP4", "123");
  parser_.clip_list = {"CLPR/a.MP4"};
  mode_t const before = ::umask(0);
  bool const result = parser_.CreateMzlFile(at("t.mzl"));
  ::umask(before);
  EXPECT_TRUE(result);
  struct stat status{};
  ASSERT_EQ(::stat(at("t.mzl").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0600u);
}

TEST_F(TakeList, DoesNotFollowASymbolicLink) {
  write("card/BPAV/CLPR/a.MP4", "123");
  write("precious", "untouched");
  std::filesystem::create_symlink(at("precious"), at("t.mzl"));
  parser_.clip_list = {"CLPR/a.MP4"};
  EXPECT_FALSE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(parser_.error_text, "Unable to create mzl file : " + at("t.mzl"));
  EXPECT_EQ(read(at("precious")), "untouched");
}

TEST_F(TakeList, ListsAnyFileWhateverItsExtension) {
  write("card/BPAV/CLPR/notes.txt", "");
  parser_.clip_list = {"CLPR/notes.txt"};
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n" + card() + "CLPR/notes.txt;  0\r\n");
}

TEST_F(TakeList, SkipsFoldersAndPipes) {
  ASSERT_EQ(::mkfifo((card() + "CLPR/pipe.MP4").c_str(), 0600), 0);
  parser_.clip_list = {"CLPR", "CLPR/pipe.MP4", ""};
  EXPECT_FALSE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(parser_.error_text, "No mp4 file found");
}

TEST_F(TakeList, KeepsBytesOfNamesThatAreNoText) {
  std::string const odd = "CLPR/\xff%s%n \xc3\xa4.MP4";
  write("card/BPAV/" + odd, "1");
  parser_.clip_list = {odd};
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n" + card() + odd + ";  1\r\n");
}

TEST_F(TakeList, PrintsEveryClipItTriesWhenVerbose) {
  write("card/BPAV/CLPR/a.MP4", "123");
  parser_.clip_list = {"CLPR/gone.MP4", "CLPR/a.MP4"};
  parser_.verbose = 1;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "process : " + card() + "CLPR/gone.MP4\t" + "process : " + card() + "CLPR/a.MP4\tsize : : 3\n");
}

TEST_F(TakeList, PrintsNothingWhenNotVerbose) {
  write("card/BPAV/CLPR/a.MP4", "123");
  parser_.clip_list = {"CLPR/a.MP4"};
  testing::internal::CaptureStdout();
  EXPECT_TRUE(parser_.CreateMzlFile(at("t.mzl")));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace

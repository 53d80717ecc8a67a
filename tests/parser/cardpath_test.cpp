#include "parser_xdcam_ex/source/cardpath.h"

#include "tests/parser/cardfixture.h"

namespace {

TEST(CardPaths, SplitBehindTheLastFolderNamedBpav) {
  struct Row {
    char const *path, *root, *file;
  };
  for (Row const& row : {Row{"/card/BPAV/CLPR/1/1.SMI", "/card/BPAV/", "CLPR/1/1.SMI"},
                         Row{"/BPAV/x/bpav/CLPR/a.smi", "/BPAV/x/bpav/", "CLPR/a.smi"},
                         Row{"BPAV/a.xml", "BPAV/", "a.xml"}, Row{"/Bpav/a.xml", "/Bpav/", "a.xml"}}) {
    auto const split = splitCardPath(row.path);
    ASSERT_TRUE(split) << row.path;
    EXPECT_EQ(split->root, row.root);
    EXPECT_EQ(split->file, row.file);
  }
  for (char const* path : {"", "/", "BPAV", "/card/BPAV", "/card/XBPAV/a.SMI", "/card/BPAVX/a.SMI", "//a"})
    EXPECT_FALSE(splitCardPath(path)) << path;
}

class Spelling : public CardTest {};

TEST_F(Spelling, OfFoldersAndFileIsThatOfTheDisk) {
  write("copy/clpr/ONE/one.Mp4", "");
  EXPECT_EQ(spelledAsThere(at("copy/"), "CLPR/ONE/ONE.MP4"), "clpr/ONE/one.Mp4");
  EXPECT_EQ(spelledAsThere(at("copy/"), "clpr/ONE/one.Mp4"), "clpr/ONE/one.Mp4");
}

TEST_F(Spelling, OfWhatIsNotThereStays) {
  EXPECT_EQ(spelledAsThere(card(), "CLPR/1/1.MP4"), "CLPR/1/1.MP4");
  EXPECT_EQ(spelledAsThere(at("nowhere/"), "CLPR/1/1.MP4"), "CLPR/1/1.MP4");
  EXPECT_EQ(spelledAsThere(card(), ""), "");
}

}  // namespace

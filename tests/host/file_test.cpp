#include "host/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cctype>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "host/registry.h"
#include "host/text.h"
#include "tests/host/inthreads.h"
#include "tests/host/tempfolder.h"

namespace {

namespace fs = std::filesystem;

class File : public testing::Test {
 protected:
  TempFolder folder;
};

TEST_F(File, WritesAndReadsBack) {
  for (Any const& path :
       {Any(folder.in("narrow \xC3\xA9")), Any(KyText::toWide(folder.in("wide \xE2\x82\xAC")))}) {
    std::FILE* file = KyFile::fopen(path, "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(KyFile::fwrite_("hello", 5, file), 5);
    EXPECT_EQ(KyFile::fclose(file), 0);
    EXPECT_EQ(KyFile::flength(path), 5);
    file = kyfopen(path, "rb");
    ASSERT_NE(file, nullptr);
    char buffer[10] = {};
    EXPECT_EQ(KyFile::fread_(buffer, 10, file), 5);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_EQ(KyFile::rm(path), 0);
    EXPECT_EQ(KyFile::flength(path), -1);
  }
}

TEST_F(File, NamesThatAreNotUtf8AreTakenByteForByte) {
  std::string const path = folder.in("latin\xE9");
  folder.write("latin\xE9", "abc");
  EXPECT_EQ(KyFile::flength(path), 3);
}

TEST_F(File, BadArgumentsFail) {
  EXPECT_EQ(KyFile::fopen(Any(), "rb"), nullptr);
  EXPECT_EQ(KyFile::fopen("", "wb"), nullptr);
  EXPECT_EQ(KyFile::fopen(folder.in("x"), nullptr), nullptr);
  EXPECT_EQ(KyFile::fopen(folder.in("absent"), "rb"), nullptr);
  EXPECT_EQ(KyFile::fclose(nullptr), -1);
  char c = 0;
  EXPECT_EQ(KyFile::fread_(&c, 1, nullptr), 0);
  EXPECT_EQ(KyFile::fwrite_(&c, 1, nullptr), 0);
  EXPECT_EQ(KyFile::flength(folder.path.string()), -1);
  EXPECT_FALSE(KyFile::isDir(5));
}

TEST_F(File, AZeroInsideANameNamesNoFile) {
  folder.write("a", "abc");
  std::string const hidden = folder.in("a") + std::string("\0.txt", 5);
  EXPECT_EQ(KyFile::flength(hidden), -1);
  EXPECT_EQ(kyfopen(hidden, "rb"), nullptr);
  EXPECT_EQ(KyFile::rm(hidden), -1);
  EXPECT_TRUE(fs::exists(folder.in("a")));
}

TEST(FileNames, ExtensionIsThatOfTheLastComponent) {
  struct {
    char const* path;
    char const* lower;
    char const* exact;
  } const cases[] = {{"/a/b/632_0001_01.SMI", "smi", "SMI"},
                     {"clip.tar.Gz", "gz", "Gz"},
                     {"noext", "", ""},
                     {".hidden", "", ""},
                     {".hidden.xml", "xml", "xml"},
                     {"/a.b/c", "", ""},
                     {"name.", "", ""},
                     {"", "", ""},
                     {"/a/.x", "", ""}};
  for (auto const& c : cases) {
    EXPECT_EQ(KyFile::getExt(c.path, true), Any(c.lower)) << c.path;
    EXPECT_EQ(KyFile::getExt(c.path, false), Any(c.exact)) << c.path;
  }
  EXPECT_EQ(KyFile::getExt(L"/a/B.XML", true), Any("xml"));
  EXPECT_EQ(KyFile::getExt(Any(), true), Any(""));
}

TEST(FileNames, JoinPutsOneSeparator) {
  EXPECT_EQ(KyFile::joinPath("/a", "b"), Any("/a/b"));
  EXPECT_EQ(KyFile::joinPath("/a/", "b"), Any("/a/b"));
  EXPECT_EQ(KyFile::joinPath("/a/", "/b"), Any("/a/b"));
  EXPECT_EQ(KyFile::joinPath("", "b"), Any("b"));
  EXPECT_EQ(KyFile::joinPath("/", "b"), Any("/b"));
  EXPECT_EQ(KyFile::joinPath(L"/a", L"\u00E9"), Any("/a/\xC3\xA9"));
  EXPECT_STREQ(path_separator(), "/");
}

TEST(FileNames, OsNameIsNarrow) {
  EXPECT_EQ(KyFile::osFname(L"/a/\u20AC").kind(), Any::kString);
  EXPECT_STREQ(static_cast<char*>(KyFile::osFname(L"/a/\u20AC")), "/a/\xE2\x82\xAC");
}

TEST_F(File, MkdirIsPrivateAndFailsWhenItExists) {
  std::string const path = folder.in("new");
  EXPECT_EQ(KyFile::mkdir(path), 0);
  struct stat status;
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  EXPECT_TRUE(KyFile::isDir(path));
  EXPECT_NE(KyFile::mkdir(path), 0);
}

TEST_F(File, RmRemovesFilesOnly) {
  std::string const path = folder.write("a", "abc");
  EXPECT_EQ(KyFile::rm(path), 0);
  EXPECT_NE(KyFile::rm(path), 0);
  fs::create_directory(folder.in("d"));
  EXPECT_NE(KyFile::rm(folder.in("d")), 0);
  EXPECT_TRUE(fs::exists(folder.in("d")));
}

TEST_F(File, RmdirRemovesAllItHolds) {
  folder.write("d/a", "1");
  folder.write("d/e/f/b", "2");
  fs::create_directory(folder.in("d/empty"));
  folder.write("beside", "3");
  EXPECT_EQ(KyFile::rmdir(folder.in("d/")), 0);
  EXPECT_FALSE(fs::exists(folder.in("d")));
  EXPECT_TRUE(fs::exists(folder.in("beside")));
}

TEST_F(File, RmdirDoesNotFollowLinksToTheOutside) {
  folder.write("outside/keep", "1");
  folder.write("d/a", "1");
  fs::create_directory_symlink(folder.in("outside"), folder.in("d/link"));
  fs::create_symlink(folder.in("outside/keep"), folder.in("d/filelink"));
  fs::create_symlink(folder.in("absent"), folder.in("d/dangling"));
  EXPECT_EQ(KyFile::rmdir(folder.in("d")), 0);
  EXPECT_FALSE(fs::exists(folder.in("d")));
  EXPECT_TRUE(fs::exists(folder.in("outside/keep")));
}

TEST_F(File, RmdirOfALinkRemovesTheLinkOnly) {
  folder.write("outside/keep", "1");
  for (char const* const end : {"", "/"}) {
    fs::create_directory_symlink(folder.in("outside"), folder.in("link"));
    EXPECT_EQ(KyFile::rmdir(folder.in("link") + end), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(folder.in("link"))));
    EXPECT_TRUE(fs::exists(folder.in("outside/keep")));
  }
}

TEST_F(File, RmdirRefusesWhatIsNoFolderOfItsOwn) {
  std::string const file = folder.write("d/a", "1");
  EXPECT_NE(KyFile::rmdir(file), 0);
  EXPECT_NE(KyFile::rmdir(folder.in("absent")), 0);
  EXPECT_NE(KyFile::rmdir(""), 0);
  EXPECT_NE(KyFile::rmdir(Any()), 0);
  EXPECT_NE(KyFile::rmdir("/"), 0);
  EXPECT_NE(KyFile::rmdir(folder.in("d/..")), 0);
  EXPECT_NE(KyFile::rmdir(folder.in("d/../")), 0);
  EXPECT_NE(KyFile::rmdir(folder.in("d/.")), 0);
  EXPECT_TRUE(fs::exists(file));
}

class TempNames : public File {
 protected:
  void SetUp() override {
    before = ky_registry()->tempDir();
    ky_registry()->setTempDir(folder.path.string());
  }
  void TearDown() override { ky_registry()->setTempDir(before); }
  Any before;
};

TEST_F(TempNames, ConsistOfPrefixRandomDigitsAndExtension) {
  std::string const path = KyFile::tempFileName("0_1_dxsa_eng", "txt").asString();
  std::string const start = folder.in("0_1_dxsa_eng_");
  ASSERT_TRUE(path.starts_with(start)) << path;
  ASSERT_TRUE(path.ends_with(".txt"));
  std::string const digits = path.substr(start.size(), path.size() - start.size() - 4);
  EXPECT_EQ(digits.size(), 32U);
  for (char const c : digits) EXPECT_TRUE(std::isxdigit(static_cast<unsigned char>(c)));
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(TempNames, HaveNoDotWithoutAnExtension) {
  for (char const* const ext : {static_cast<char const*>(nullptr), ""}) {
    Any const path = KyFile::tempFileName("sub", ext);
    EXPECT_EQ(KyFile::getExt(path, true), Any(""));
    EXPECT_EQ(KyFile::mkdir(path), 0);
  }
}

TEST_F(TempNames, StayInTheFolderWhateverThePrefixHolds) {
  for (char const* const prefix : {"../../etc/x", "a/b", "..", "/abs", "line\nbreak", ""}) {
    fs::path const path = KyFile::tempFileName(prefix, "../x").asString();
    EXPECT_EQ(path.parent_path(), folder.path) << path;
    EXPECT_EQ(path.lexically_normal().parent_path(), folder.path);
  }
  std::string const lengthy(5000, 'x');
  Any const path = KyFile::tempFileName(lengthy.c_str(), lengthy.c_str());
  EXPECT_EQ(KyFile::mkdir(path), 0) << "the name must fit a folder entry";
}

TEST_F(TempNames, DifferInEveryCallAndThread) {
  std::vector<std::vector<std::string>> names(4);
  inThreads(4, [&names](int t) {
    for (int i = 0; i < 200; ++i) {
      names[static_cast<size_t>(t)].push_back(KyFile::tempFileName("n", "x").asString());
    }
  });
  std::set<std::string> all;
  for (auto const& own : names) all.insert(own.begin(), own.end());
  EXPECT_EQ(all.size(), 800U);
}

}  // namespace

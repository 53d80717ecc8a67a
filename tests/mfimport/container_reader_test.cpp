#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "clips.h"
#include "player.h"

namespace {

struct Free {
  void operator()(MfHandle* handle) const { mfimportFree(handle); }
  void operator()(MfStream* stream) const { mfimportStreamFree(stream); }
};
using Handle = std::unique_ptr<MfHandle, Free>;
using Stream = std::unique_ptr<MfStream, Free>;

Handle opened(std::string const& path) {
  Handle handle(mfimportNew(testResources, 0));
  EXPECT_EQ(mfimportFileOpen(handle.get(), path.c_str(), nullptr), 0);
  return handle;
}

TEST(ContainerReader, ListsTitleAndStreams) {
  Handle const handle = opened(mpeg2Mov());
  MfContainerInfo container{};
  ASSERT_EQ(mfimportGetContainerInfo(handle.get(), &container), 0);
  EXPECT_EQ(container.titles, 1);
  EXPECT_EQ(container.containerType, kContainerQuickTime);
  MfTitleInfo title{};
  ASSERT_EQ(mfimportGetTitleInfo(handle.get(), 0, &title), 0);
  EXPECT_EQ(title.streams, 3);
  EXPECT_NE(mfimportGetTitleInfo(handle.get(), 1, &title), 0);
  MfStreamInfo stream{};
  ASSERT_EQ(mfimportGetStreamInfo(handle.get(), 0, 0, &stream), 0);
  EXPECT_EQ(stream.typeCode, 3);
  EXPECT_EQ(stream.identifier, 0);
  EXPECT_EQ(stream.frames, 50);
  ASSERT_EQ(mfimportGetStreamInfo(handle.get(), 0, 2, &stream), 0);
  EXPECT_EQ(stream.typeCode, 136);
  EXPECT_EQ(stream.identifier, 2);
  EXPECT_NE(mfimportGetStreamInfo(handle.get(), 0, 3, &stream), 0);
}

TEST(ContainerReader, VideoUnits_SortedByKey_AreTheStampsOfThePictures) {
  Handle const handle = opened(editListMp4());
  MfStreamInfo info{};
  ASSERT_EQ(mfimportGetStreamInfo(handle.get(), 0, 0, &info), 0);
  Stream const stream(mfimportStreamNew(handle.get(), 0, 0, 2));
  ASSERT_NE(stream, nullptr);
  std::vector<MfUnit> units(1);
  ASSERT_EQ(mfimportStreamSeek(stream.get(), 0, &units[0]), 0);
  for (MfUnit unit; mfimportStreamGetNext(stream.get(), &unit) == 0;) units.push_back(unit);
  ASSERT_EQ(static_cast<int>(units.size()), info.frames);
  EXPECT_FALSE(
      std::is_sorted(units.begin(), units.end(), [](auto& a, auto& b) { return a.sortKey < b.sortKey; }));
  std::sort(units.begin(), units.end(), [](auto& a, auto& b) { return a.sortKey < b.sortKey; });
  EXPECT_EQ(units.front().time, info.firstPts);
  for (size_t i = 0; i < units.size(); ++i) {
    EXPECT_EQ(units[i].sortKey, static_cast<int64_t>(i));
    EXPECT_NEAR(static_cast<double>(units[i].time - info.firstPts),
                static_cast<double>(i) * 27e6 * 1001 / 30000, 1000);
  }
}

TEST(ContainerReader, SeekWithoutAUnit_LeavesItForTheNextCall) {
  Handle const handle = opened(openGopMp4());
  Stream const stream(mfimportStreamNew(handle.get(), 0, 1, 2));
  MfUnit first{}, again{};
  ASSERT_EQ(mfimportStreamSeek(stream.get(), 0, &first), 0);
  ASSERT_EQ(mfimportStreamSeek(stream.get(), 0, nullptr), 0);
  ASSERT_EQ(mfimportStreamGetNext(stream.get(), &again), 0);
  EXPECT_EQ(first.sortKey, again.sortKey);
  EXPECT_EQ(first.pts, again.pts);
  EXPECT_EQ(mfimportStreamSeek(stream.get(), 1 << 20, nullptr), kMpegEndOfStream);
  EXPECT_LT(mfimportStreamSeek(stream.get(), -1, nullptr), 0);
}

TEST(ContainerReader, MissingFile_IsAnError) {
  Handle handle(mfimportNew(nullptr, 0));
  EXPECT_EQ(mfimportFileOpen(handle.get(), "/nowhere.mp4", nullptr), kMpegErrorOpen);
  MfContainerInfo info{};
  EXPECT_LT(mfimportGetContainerInfo(handle.get(), &info), 0);
  EXPECT_EQ(mfimportStreamNew(handle.get(), 0, 0, 2), nullptr);
}

}  // namespace

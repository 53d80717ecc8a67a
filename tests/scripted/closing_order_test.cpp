// In which order a decoder gives back what it holds.
#include "mpegdecode/callbacks.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;
namespace fs = std::filesystem;

// What was still there when an instance was released.
struct Release {
  size_t instance;
  int state;
  int videoStreams, audioStreams, subpictures;
  bool subtitles, memoryCounted;
  int closed;
  bool operator==(Release const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Release const& release) {
  return out << "instance " << release.instance << " state " << release.state << " video "
             << release.videoStreams << " audio " << release.audioStreams << " subpictures "
             << release.subpictures << " subtitles " << release.subtitles << " counted "
             << release.memoryCounted << " closed " << release.closed;
}

class ClosingOrder : public ScriptedTest {
 protected:
  ClosingOrder() {
    for (int i = 0; i < 2; ++i) library.addVideo();
    for (int i = 0; i < 2; ++i) library.addAudio(kAudioLpcm);
    ready();
    pipe->setParam("estimateMemory", true);
    EXPECT_EQ(pipe->open(), 0);
    fs::create_directories(folder_);
    AnyDict& subtitles = addSubpicture(*pipe).info();
    subtitles.set("subType", "dxsa");
    subtitles.set("subtitles", Any(folder_.string()));
    library.onFree = [this](size_t number) { releases_.push_back(release(number)); };
  }
  ~ClosingOrder() override { library.onFree = nullptr; }

  Release release(size_t number) {
    return {number,
            pipe->state(),
            pipe->countStreams(kKindVideo),
            pipe->countStreams(kKindAudio),
            pipe->countStreams(kKindSubpic),
            fs::exists(folder_),
            memoryIsCounted(),
            library.instances[number]->closed};
  }
  static bool memoryIsCounted() {
    MemoryRegistry& registry = MemoryRegistry::instance();
    int const before = registry.estimateKB();
    void* const block = registry.allocate(64 * 1024);
    bool const counted = registry.estimateKB() > before;
    registry.release(block);
    return counted;
  }

  fs::path const folder_ = test::scratchDir() / "closing_order";
  std::vector<Release> releases_;
};

TEST_F(ClosingOrder, IsVideoSoundSubpicturesSharedInstanceStateMemory) {
  EXPECT_EQ(pipe->close(), 0);
  // Instance 0 parsed the file; the video streams' are 1 and 2, the sounds' 3 and 4.
  EXPECT_EQ(releases_, (std::vector<Release>{{1, kStateOpened, 2, 2, 1, true, true, 1},
                                             {2, kStateOpened, 2, 2, 1, true, true, 1},
                                             {3, kStateOpened, 0, 2, 1, true, true, 1},
                                             {4, kStateOpened, 0, 2, 1, true, true, 1},
                                             {0, kStateOpened, 0, 0, 0, false, true, 0}}));
  EXPECT_EQ(pipe->state(), kStateInitialised);
  EXPECT_FALSE(memoryIsCounted());
}

}  // namespace

// An instance whose block is the caller's goes back to the system's allocator, once. The program is linked so
// that its releases come here first.
#include <cstdlib>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {
void const* watched = nullptr;
int released = 0;
}  // namespace

// The names that --wrap gives to the caller's and to the system's function.
extern "C" {
void __real_free(void* block);
__attribute__((visibility("default"))) void __wrap_free(void* block) {
  if (block && block == watched) ++released;
  __real_free(block);
}
}

namespace {

using namespace scripted;

class CallerMemory : public ScriptedTest {
 protected:
  CallerMemory() {
    library.addVideo();
    opened();
    stateOf(stream()).decoder.ownsDecoderMemory = true;
    library.ownedByCaller = stream().decoder();
    released = 0;
    watched = stream().decoder();
  }
  ~CallerMemory() override { watched = nullptr; }
  MpegInVideoStream& stream() { return videoOf(*pipe, 0); }
};

TEST_F(CallerMemory, IsReleasedWithItsStream) {
  stream().close();
  EXPECT_EQ(released, 1);
  EXPECT_FALSE(instance(1).alive);
  EXPECT_FALSE(stateOf(stream()).decoder.ownsDecoderMemory);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(released, 1);
}

}  // namespace

// The entry of the plug-in: what it exports and needs, the component check, the module.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/codec.h"
#include "mfimport/mfimport.h"
#include "plugin/lowlevelcomponents.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"

namespace {

std::vector<std::string> linesOf(std::string const& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST(PluginFile, ExportsTheEntryAlone) {
  auto const symbols = linesOf(test::run("nm -D --defined-only " + test::quoted(test::pluginFile())));
  ASSERT_EQ(symbols.size(), 1U) << symbols.back();
  EXPECT_TRUE(symbols[0].ends_with(" T plugin_init")) << symbols[0];
}

TEST(PluginFile, NeedsOurThreeLibrariesAndThoseOfTheLanguage) {
  std::vector<std::string> needed;
  for (std::string const& line : linesOf(test::run("readelf -d " + test::quoted(test::pluginFile())))) {
    if (line.find("(NEEDED)") == std::string::npos) continue;
    size_t const begin = line.find('[') + 1;
    needed.push_back(line.substr(begin, line.find(']') - begin));
  }
  for (char const* library : {"libkyplugcore.so.3", "libky_mfimport.so", "libky_demux_dmf.so"})
    EXPECT_EQ(std::count(needed.begin(), needed.end(), library), 1) << library;
  std::vector<std::string> const allowed = {"libkyplugcore.so.3", "libky_mfimport.so",   "libky_demux_dmf.so",
                                            "libstdc++.so.6",     "libgcc_s.so.1",       "libc.so.6",
                                            "libm.so.6",          "ld-linux-x86-64.so.2"};
  for (std::string const& library : needed) {
    bool const runtime =
        library.starts_with("libasan") || library.starts_with("libubsan") || library.starts_with("libtsan");
    EXPECT_TRUE(runtime || std::count(allowed.begin(), allowed.end(), library) == 1) << library;
  }
}

TEST(PluginInit, GivesTheNamedPluginWithItsAttributes) {
  KyPlugin const* const plugin = test::plugin();
  ASSERT_NE(plugin, nullptr);
  EXPECT_STREQ(plugin->name(), "xdcamdecode");
  EXPECT_STREQ(plugin->displayName(), "XDCAM decoder");
  EXPECT_EQ(plugin->attrs()["version"], Any("3.7.2.22591"));
  EXPECT_EQ(plugin->attrs()["versionDate"], Any("2016-05-06"));
  EXPECT_TRUE(plugin->attrs()["debug"].isInt32());
  EXPECT_EQ(plugin->attrs()["debug"].asInt32(), 0);
}

TEST(PluginInit, CalledTwiceGivesTheSamePluginWithOneModule) {
  KyPlugin* const first = test::plugin();
  test::LogLines log;
  EXPECT_EQ(test::initAgain(), first);
  EXPECT_EQ(first->nrModules(), 1);
  EXPECT_TRUE(log.contains("Low level components: mfimport ("));
}

TEST(Module, DescribesItself) {
  KyModule const* const module = test::module();
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(module->moduleType(), 2);
  EXPECT_STREQ(module->name(), "xdcamdec");
  EXPECT_STREQ(module->desc(), "XDCAM parser/decoder");
  EXPECT_STREQ(module->displayName(), "XDCAM Import");
}

TEST(Module, HoldsTheAttributesThatHostAndDecodersRead) {
  KyModule const* const module = test::module();
  EXPECT_EQ(module->getAttr("joinMonoStreams"), Any(1));
  EXPECT_EQ(module->getAttr("priority"), Any(15));
  Any const exts = module->getAttr("exts");
  ASSERT_EQ(exts.kind(), Any::kVector);
  EXPECT_EQ(exts.asVector(), (AnyVector{"mzl", "xml", "smi"}));
  EXPECT_EQ(module->getAttr("forgivingCards").asInt32(), 0)
      << "cards are read to the letter unless a host asks";
  EXPECT_FALSE(module->getAttr("nothing").valid());
}

TEST(Module, AttributesAreOfTheKindsThatHostsAskFor) {
  KyModule const* const module = test::module();
  EXPECT_EQ(module->getAttr("joinMonoStreams").kind(), Any::kInt32);
  EXPECT_EQ(module->getAttr("priority").kind(), Any::kInt32);
  Any const exts = module->getAttr("exts");
  ASSERT_EQ(exts.kind(), Any::kVector);
  ASSERT_EQ(exts.asVector().size(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(exts.asVector().at(i).kind(), Any::kString) << i;
  AnyDict const& attributes = test::plugin()->attrs();
  EXPECT_EQ(attributes["version"].kind(), Any::kString);
  EXPECT_EQ(attributes["versionDate"].kind(), Any::kString);
  EXPECT_EQ(attributes["debug"].kind(), Any::kInt32);
}

TEST(Module, CreatesADecoderPerCallOwnedByTheCaller) {
  test::PipePtr const first(test::module()->createInstance());
  test::PipePtr const second(test::module()->createInstance());
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  EXPECT_NE(first, second);
  EXPECT_EQ(first->state(), 1);
  EXPECT_EQ(first->module(), test::module());
  EXPECT_STREQ(first->name(), "xdcamdec");
}

// Components that answer as told.
struct Answers {
  int versionResult = 0;
  int type = 1;
  char const* name = "";
  char const* version = "";
};

// Queries of the component that was asked last, and whether every buffer came cleared.
std::vector<int> queries;
bool buffersCleared = true;

template <int N>
struct Component {
  static inline Answers answers;
  static int query(int query, void* out) {
    queries.push_back(query);
    if (query == 3) {
      auto& record = *static_cast<MpegModuleVersion*>(out);
      EXPECT_EQ(record.type, -1);
      record.type = answers.type;
      return answers.versionResult;
    }
    constexpr size_t kBuffer = 128;
    char* const text = static_cast<char*>(out);
    buffersCleared = buffersCleared && std::count(text, text + kBuffer, '\0') == kBuffer;
    // What stands behind the text is what the next buffers would hold if nobody cleared them.
    std::memset(text, 'x', kBuffer);
    std::strcpy(text, query == 1 ? answers.name : answers.version);
    return 0;
  }
  static void* entry(int code) { return code == 1 ? reinterpret_cast<void*>(&query) : nullptr; }
};
void* withoutQuery(int) { return nullptr; }

constexpr auto kFirst = &Component<1>::entry;
constexpr auto kSecond = &Component<2>::entry;

class ComponentCheck : public testing::Test {
 protected:
  ComponentCheck() {
    Component<1>::answers = {0, 1, "first", "1.2"};
    Component<2>::answers = {0, 1, "second", "3.4.5"};
    queries.clear();
    buffersCleared = true;
  }
  int check(std::vector<LowLevelComponentEntry> entries) {
    entries.push_back(nullptr);
    return checkLowLevelComponents(entries.data());
  }
  test::LogLines log;
};

TEST_F(ComponentCheck, GoodComponentsAreListed) {
  EXPECT_EQ(check({kFirst, kSecond}), 0);
  ASSERT_EQ(log.lines.size(), 1U);
  EXPECT_TRUE(log.hasAt(kLogInfo, "Low level components: first (1.2), second (3.4.5)"));
}

TEST_F(ComponentCheck, AsksForTheVersionRecordThenForTheNameThenForTheText) {
  check({kFirst});
  EXPECT_EQ(queries, (std::vector<int>{3, 1, 4}));
}

TEST_F(ComponentCheck, HandsOutClearedBuffersOf128Bytes) {
  check({kFirst, kSecond, kFirst});
  EXPECT_EQ(queries.size(), 9U);
  EXPECT_TRUE(buffersCleared);
}

TEST_F(ComponentCheck, AComponentWithoutQueryFunctionDoesNotFail) {
  EXPECT_EQ(check({withoutQuery, kSecond}), 0);
  EXPECT_TRUE(log.hasAt(0, "+++ KYAPI_GetModuleInfo is NULL"));
  EXPECT_TRUE(log.has("Low level components: second (3.4.5)"));
}

TEST_F(ComponentCheck, AFailedVersionQueryFailsAndIsNotListed) {
  Component<1>::answers.versionResult = -1;
  EXPECT_EQ(check({kFirst, kSecond}), -1);
  EXPECT_TRUE(log.hasAt(0, "*** KYAPI_MODULE_VERSION failed"));
  EXPECT_TRUE(log.has("Low level components: second (3.4.5)"));
}

TEST_F(ComponentCheck, ARecordOfAnotherTypeFailsButIsListed) {
  Component<1>::answers.type = 2;
  EXPECT_EQ(check({kFirst}), -1);
  EXPECT_TRUE(log.hasAt(0, "*** KYAPI_MODULE_VERSION (full) wrong type (2)"));
  EXPECT_TRUE(log.has("Low level components: first (1.2)"));
}

TEST_F(ComponentCheck, TheWrongTypeIsShownInHexadecimal) {
  Component<1>::answers.type = -1;
  EXPECT_EQ(check({kFirst}), -1);
  EXPECT_TRUE(log.has("*** KYAPI_MODULE_VERSION (full) wrong type (ffffffff)"));
}

TEST_F(ComponentCheck, OneBadComponentAmongGoodOnesFailsWhateverItsPlace) {
  Component<1>::answers.versionResult = 1;
  EXPECT_EQ(check({kFirst, kSecond}), -1);
  EXPECT_EQ(check({kSecond, kFirst}), -1);
  EXPECT_EQ(check({kFirst, withoutQuery}), -1);
}

TEST_F(ComponentCheck, AnEmptyNameIsShownAsNotAvailable) {
  Component<1>::answers.name = "";
  EXPECT_EQ(check({kFirst}), 0);
  EXPECT_TRUE(log.has("Low level components: N/A (1.2)"));
}

TEST_F(ComponentCheck, AnEmptyVersionTextLeavesTheComponentOut) {
  Component<1>::answers.version = "";
  EXPECT_EQ(check({kFirst, kSecond}), 0);
  EXPECT_TRUE(log.has("Low level components: second (3.4.5)"));
  log.lines.clear();
  EXPECT_EQ(check({kFirst}), 0);
  EXPECT_TRUE(log.lines.empty());
}

TEST_F(ComponentCheck, NoComponentsAreGoodButSaid) {
  EXPECT_EQ(check({}), 0);
  ASSERT_EQ(log.lines.size(), 1U);
  EXPECT_TRUE(log.hasAt(0, "*** No GetAPIExt functions defined"));
}

}  // namespace

#include "host/plugin.h"

#include <gtest/gtest.h>

#include "host/codec.h"

namespace {

class Module : public KyModule {
 public:
  explicit Module(AnyDict const* attrs, int* deleted = nullptr)
      : KyModule(2, "decoder", "a decoder", "Decoder", attrs), deleted_(deleted) {
    attrs_.set("priority", 15);
  }
  ~Module() override {
    if (deleted_) ++*deleted_;
  }
  KyDecodePipe* createInstance() override { return new KyDecodePipe(this); }

 private:
  int* deleted_;
};

TEST(Module, CarriesItsNamesAndAttributes) {
  AnyDict const attrs("exts", AnyVector{"mzl", "xml"});
  Module module(&attrs);
  EXPECT_EQ(module.moduleType(), 2);
  EXPECT_STREQ(module.name(), "decoder");
  EXPECT_STREQ(module.desc(), "a decoder");
  EXPECT_STREQ(module.displayName(), "Decoder");
  EXPECT_EQ(module.getAttr("exts").asVector().size(), 2);
  EXPECT_EQ(module.getAttr("priority"), Any(15));
  EXPECT_FALSE(module.getAttr("absent").valid());
}

TEST(Module, AttributesCanBeSetAndListed) {
  Module module(nullptr);
  EXPECT_EQ(module.setAttr("numThreads", 4), 0);
  EXPECT_EQ(module.setAttrs(AnyDict("a", 1, "priority", 3)), 0);
  AnyDict all;
  EXPECT_EQ(module.getAttrs(all), 0);
  EXPECT_EQ(all, AnyDict("priority", 3, "numThreads", 4, "a", 1));
}

TEST(Module, KnowsNoFunctions) {
  Module module(nullptr);
  Any result(1);
  EXPECT_EQ(module.call("anything", Any(), result), -1);
  EXPECT_FALSE(result.valid());
  EXPECT_EQ(module.cleanup(), 0);
}

TEST(Plugin, OwnsItsModules) {
  int deleted = 0;
  int context = 0;
  {
    KyPlugin plugin("xdcamdecode", "XDCAM decoder");
    EXPECT_STREQ(plugin.name(), "xdcamdecode");
    EXPECT_STREQ(plugin.displayName(), "XDCAM decoder");
    EXPECT_EQ(plugin.addModule(new Module(nullptr, &deleted), &context), 0);
    EXPECT_EQ(plugin.addModule(nullptr, nullptr), -1);
    EXPECT_EQ(plugin.nrModules(), 1);
    ASSERT_NE(plugin.module(0), nullptr);
    EXPECT_EQ(plugin.moduleContext(0), &context);
    EXPECT_EQ(plugin.module(1), nullptr);
    EXPECT_EQ(plugin.module(-1), nullptr);
    EXPECT_EQ(plugin.moduleContext(1), nullptr);
    plugin.attrs().set("version", "1");
    EXPECT_EQ(static_cast<KyPlugin const&>(plugin).attrs()["version"], Any("1"));
    EXPECT_EQ(deleted, 0);
  }
  EXPECT_EQ(deleted, 1);
}

}  // namespace

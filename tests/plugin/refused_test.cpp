// An import library that fails the component check: this program's own entry is found before the library's.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/plugin.h"
#include "mfimport/mfimport.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"

namespace {
int refuse(int query, void*) { return query == 3 ? -1 : 0; }
}  // namespace

void* mpegInGetAPIExt(int) { return reinterpret_cast<void*>(&refuse); }

namespace {

TEST(PluginInit, WithAnImportLibraryThatFailsTheCheckGivesNull) {
  void* const library = ::dlopen(test::pluginFile().c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  auto const entry = reinterpret_cast<KyPluginInit>(::dlsym(library, "plugin_init"));
  ASSERT_NE(entry, nullptr);
  test::LogLines log;
  EXPECT_EQ(entry(), nullptr);
  EXPECT_TRUE(log.hasAt(0, "*** KYAPI_MODULE_VERSION failed"));
  EXPECT_EQ(entry(), nullptr);
}

}  // namespace

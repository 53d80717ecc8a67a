// The entry of the plug-in.
#include <memory>

#include "host/plugin.h"
#include "mfimport/mfimport.h"
#include "plugin/lowlevelcomponents.h"
#include "plugin/xdcamdecodermodule.h"

extern "C" KY_API KyPlugin* plugin_init() {
  static KyPlugin plugin("xdcamdecode", "XDCAM decoder");
  static constexpr LowLevelComponentEntry kComponents[] = {mpegInGetAPIExt, nullptr};
  if (checkLowLevelComponents(kComponents) != 0) return nullptr;
  if (plugin.nrModules() != 0) return &plugin;

  plugin.attrs().set("version", "3.7.2.22591");
  plugin.attrs().set("versionDate", "2016-05-06");
  plugin.attrs().set("debug", 0);
  plugin.addModule(std::make_unique<XdcamDecoderModule>().release(), nullptr);
  return &plugin;
}

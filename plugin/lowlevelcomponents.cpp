#include "plugin/lowlevelcomponents.h"

#include "host/any.h"
#include "host/log.h"
#include "mfimport/mfimport.h"

namespace {

using ModuleInfo = int (*)(int query, void* out);

enum Query { kModuleInfo = 1, kName = 1, kVersion = 3, kVersionText = 4 };
constexpr int kFullRecord = 1;

void appendDescription(ModuleInfo info, AnyVector& components) {
  char name[128] = {};
  char version[128] = {};
  info(kName, name);
  info(kVersionText, version);
  name[sizeof name - 1] = version[sizeof version - 1] = '\0';
  if (version[0] == '\0') return;
  Any text;
  text.sprintf("%s (%s)", name[0] ? name : "N/A", version);
  components.append(text);
}

bool checkComponent(LowLevelComponentEntry entry, AnyVector& components) {
  auto const info = reinterpret_cast<ModuleInfo>(entry(kModuleInfo));
  if (!info) {
    ky_dbg()->write("+++ KYAPI_GetModuleInfo is NULL");
    return true;
  }
  MpegModuleVersion record{};
  record.type = -1;
  if (info(kVersion, &record) != 0) {
    ky_dbg()->write("*** KYAPI_MODULE_VERSION failed");
    return false;
  }
  bool const full = record.type == kFullRecord;
  if (!full)
    ky_dbg()->write("*** KYAPI_MODULE_VERSION (full) wrong type (%0x)", static_cast<unsigned>(record.type));
  appendDescription(info, components);
  return full;
}

}  // namespace

int checkLowLevelComponents(LowLevelComponentEntry const* entries) {
  if (!*entries) ky_dbg()->write("*** No GetAPIExt functions defined");
  AnyVector components;
  bool good = true;
  for (; *entries; ++entries) good = checkComponent(*entries, components) && good;
  if (!components.empty())
    ky_dbg()->info("Low level components: %s", components.join(", ").asString().c_str());
  return good ? 0 : -1;
}

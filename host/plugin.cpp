#include "host/plugin.h"

#include "host/codec.h"

KyModule::KyModule(int type, char const* name, char const* desc, char const* displayName,
                   AnyDict const* attrs)
    : type_(type),
      name_(name ? name : ""),
      desc_(desc ? desc : ""),
      displayName_(displayName ? displayName : "") {
  if (attrs) attrs_ = *attrs;
}

KyModule::~KyModule() = default;

char const* KyModule::desc() const { return desc_.c_str(); }

char const* KyModule::name() const { return name_.c_str(); }

char const* KyModule::displayName() const { return displayName_.c_str(); }

int KyModule::moduleType() const { return type_; }

Any KyModule::getAttr(char const* key) const { return attrs_.get(key); }

int KyModule::setAttr(char const* key, Any const& value) {
  attrs_.set(key, value);
  return 0;
}

int KyModule::getAttrs(AnyDict& attrs) const {
  attrs = attrs_;
  return 0;
}

int KyModule::setAttrs(AnyDict const& attrs) {
  for (int i = 0; i < attrs.size(); ++i) {
    AnyDict::Entry const& entry = attrs.getEntry(i);
    int const result = setAttr(entry.key.c_str(), entry.value);
    if (result != 0) return result;
  }
  return 0;
}

int KyModule::call(char const*, Any const&, Any& result) {
  result.invalidate();
  return -1;
}

int KyModule::cleanup() { return 0; }

KyPlugin::KyPlugin(char const* name, char const* displayName)
    : name_(name ? name : ""), displayName_(displayName ? displayName : "") {}

KyPlugin::~KyPlugin() = default;

int KyPlugin::addModule(KyModule* module, void* context) {
  if (!module) return -1;
  modules_.push_back({std::unique_ptr<KyModule>(module), context});
  return 0;
}

KyModule* KyPlugin::module(int i) const {
  return i >= 0 && i < nrModules() ? modules_[static_cast<size_t>(i)].module.get() : nullptr;
}

void* KyPlugin::moduleContext(int i) const {
  return i >= 0 && i < nrModules() ? modules_[static_cast<size_t>(i)].context : nullptr;
}

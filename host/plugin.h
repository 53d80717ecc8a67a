// The plug-in object and its modules. Built and asked from one thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/any.h"
#include "host/api.h"

class KyDecodePipe;

class KY_API KyModule {
 public:
  // `type` 2: decoders. The texts are copied; `attrs` may be null.
  KyModule(int type, char const* name, char const* desc, char const* displayName, AnyDict const* attrs);
  virtual ~KyModule();
  KyModule(KyModule const&) = delete;
  KyModule& operator=(KyModule const&) = delete;

  // A new decoder of this module, owned by the caller; it must not outlive the module.
  virtual KyDecodePipe* createInstance() = 0;
  virtual char const* desc() const;
  virtual char const* name() const;
  virtual char const* displayName() const;
  virtual int moduleType() const;
  virtual Any getAttr(char const* key) const;  // invalid when absent
  virtual int setAttr(char const* key, Any const& value);
  virtual int getAttrs(AnyDict& attrs) const;
  virtual int setAttrs(AnyDict const& attrs);  // setAttr for every entry; others stay
  virtual int call(char const* function, Any const& argument, Any& result);  // -1: unknown function
  virtual int cleanup();

 protected:
  AnyDict attrs_;

 private:
  int type_;
  std::string name_;
  std::string desc_;
  std::string displayName_;
};

class KY_API KyPlugin {
 public:
  KyPlugin(char const* name, char const* displayName);
  ~KyPlugin();  // deletes the modules
  KyPlugin(KyPlugin const&) = delete;
  KyPlugin& operator=(KyPlugin const&) = delete;

  // Takes ownership. `context` is kept for the host and may be null. 0, or -1 for a null module.
  int addModule(KyModule* module, void* context);
  int nrModules() const { return static_cast<int>(modules_.size()); }
  KyModule* module(int i) const;     // null outside the range
  void* moduleContext(int i) const;  // as given to addModule, null outside the range
  char const* name() const { return name_.c_str(); }
  char const* displayName() const { return displayName_.c_str(); }
  AnyDict& attrs() { return attrs_; }
  AnyDict const& attrs() const { return attrs_; }

 private:
  std::string name_;
  std::string displayName_;
  AnyDict attrs_;
  struct Slot {
    std::unique_ptr<KyModule> module;
    void* context;
  };
  std::vector<Slot> modules_;
};

// The one function that a plug-in exports. The object stays the plug-in's; null: it must not be used.
extern "C" {
typedef KyPlugin* (*KyPluginInit)();
}

#include "host/codec.h"

#include <cstdarg>
#include <cstdlib>
#include <string_view>

#include "host/log.h"
#include "host/plugin.h"
#include "host/vformat.h"

namespace {

// Without memory for the text there is none.
KY_PRINTF(1, 0) std::string formatted(char const* format, std::va_list arguments) noexcept {
  try {
    return kyVformat(format, arguments);
  } catch (...) {
    return {};
  }
}

KY_PRINTF(2, 0) void logArguments(int level, char const* format, std::va_list arguments) noexcept {
  ky_dbg()->logs(level, formatted(format, arguments).c_str());
}

KY_PRINTF(1, 2) void printError(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  logArguments(kLogError, format, arguments);
  va_end(arguments);
}

KY_PRINTF(1, 2) void printWarning(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  logArguments(kLogWarning, format, arguments);
  va_end(arguments);
}

KY_PRINTF(1, 2) void printInfo(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  logArguments(kLogInfo, format, arguments);
  va_end(arguments);
}

// Progress lines carry a percentage in front, which the log has no use for.
KY_PRINTF(2, 3) void printProgress(int, char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  logArguments(kLogProgress, format, arguments);
  va_end(arguments);
}

}  // namespace

KyCodec::KyCodec(KyModule const* module) : module_(module) {}
KyCodec::~KyCodec() = default;

int KyCodec::init() {
  state_ = kStateInitialised;
  return 0;
}

int KyCodec::setParam(char const* key, Any const&) { return _raiseInvalidParam(key); }

int KyCodec::getParam(char const* key, Any& value) const {
  value.invalidate();
  return _raiseInvalidParam(key);
}

int KyCodec::setParamDict(AnyDict const& params) {
  int first = 0;
  std::string desc;
  for (int i = 0; i < params.size(); ++i) {
    AnyDict::Entry const& entry = params.getEntry(i);
    int const result = setParam(entry.key.c_str(), entry.value);
    if (result != 0 && first == 0) {
      first = result;
      desc = errorDesc_;
    }
  }
  if (first != 0) {
    errorCode_ = first;
    errorDesc_ = desc;
  }
  return first;
}

int KyCodec::open() { return 0; }

int KyCodec::close() { return 0; }

int KyCodec::process() { return 0; }

void* KyCodec::getInterface(int) const { return nullptr; }

char const* KyCodec::name() const {
  char const* const text = module_ ? module_->name() : nullptr;
  return text ? text : "codec";
}

int KyCodec::store(AnyDict& out) const {
  out.set("name", name());
  return 0;
}

int KyCodec::restore(AnyDict const& in) {
  AnyDict params = in;
  params.remove("name");
  return setParamDict(params);
}

int KyCodec::call(char const*, Any const&, Any& result) {
  result.invalidate();
  return kResultError;
}

int KyCodec::_setErr(int code, char const* format, ...) const {
  std::va_list arguments;
  va_start(arguments, format);
  errorCode_ = code;
  errorDesc_ = formatted(format, arguments);
  va_end(arguments);
  return code;
}

int KyCodec::setError(int code, char const* format, ...) const {
  std::va_list arguments;
  va_start(arguments, format);
  errorCode_ = code;
  errorDesc_ = formatted(format, arguments);
  va_end(arguments);
  return code;
}

int KyCodec::_raiseInvalidParam(char const* key) const {
  return setError(kResultInvalidParam, "Invalid parameter '%s'", key ? key : "");
}

Any KyCodec::getAttr(char const* key) const { return module_ ? module_->getAttr(key) : Any(); }

void* KyCodec::get_rc(char const* name) {
  std::string_view const wanted = name ? name : "";
  if (wanted == "malloc") return reinterpret_cast<void*>(&std::malloc);
  if (wanted == "free") return reinterpret_cast<void*>(&std::free);
  if (wanted == "err_printf") return reinterpret_cast<void*>(&printError);
  if (wanted == "wrn_printf") return reinterpret_cast<void*>(&printWarning);
  if (wanted == "inf_printf") return reinterpret_cast<void*>(&printInfo);
  if (wanted == "prg_printf") return reinterpret_cast<void*>(&printProgress);
  return nullptr;
}

void* KyCodec::get_rc_ex(void*, char const* name) { return get_rc(name); }

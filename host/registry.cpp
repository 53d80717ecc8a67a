#include "host/registry.h"

#include <charconv>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace {

std::string_view trimmed(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

Any optionValue(std::string_view text) {
  int number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) return number;
  return std::string(text);
}

std::map<std::string, Any, std::less<>> parseOptions(char const* setting) {
  std::map<std::string, Any, std::less<>> options;
  std::string_view rest = setting ? setting : "";
  while (!rest.empty()) {
    size_t const comma = rest.find(',');
    std::string_view const item = trimmed(rest.substr(0, comma));
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    size_t const equals = item.find('=');
    std::string_view const name = trimmed(item.substr(0, equals));
    if (name.empty()) continue;
    options.insert_or_assign(std::string(name), equals == std::string_view::npos
                                                    ? Any(1)
                                                    : optionValue(trimmed(item.substr(equals + 1))));
  }
  return options;
}

std::string defaultTempDir() {
  for (char const* const variable : {"KY_TEMP_DIR", "TMPDIR"}) {
    char const* const value = std::getenv(variable);
    if (value && *value) return value;
  }
  return "/tmp";
}

}  // namespace

struct KyRegistry::State {
  mutable std::mutex mutex;
  Any tempDir = defaultTempDir();
  std::map<std::string, Any, std::less<>> options = parseOptions(std::getenv("KY_DEBUG_OPTIONS"));
  std::shared_ptr<KyExternalDecoderIO const> io;
};

KyRegistry::KyRegistry() : state_(std::make_unique<State>()) {}
KyRegistry::~KyRegistry() = default;

Any KyRegistry::tempDir() const {
  std::lock_guard const lock(state_->mutex);
  return state_->tempDir;
}

void KyRegistry::setTempDir(Any const& path) {
  std::lock_guard const lock(state_->mutex);
  state_->tempDir = path;
}

Any KyRegistry::getDbgOption(char const* name) const {
  if (!name) return {};
  std::lock_guard const lock(state_->mutex);
  auto const found = state_->options.find(std::string_view(name));
  return found == state_->options.end() ? Any() : found->second;
}

void KyRegistry::setDbgOption(char const* name, Any const& value) {
  if (!name) return;
  std::lock_guard const lock(state_->mutex);
  if (value.valid()) {
    state_->options.insert_or_assign(name, value);
  } else {
    state_->options.erase(name);
  }
}

std::shared_ptr<KyExternalDecoderIO const> KyRegistry::externalDecoderIO() const {
  std::lock_guard const lock(state_->mutex);
  return state_->io;
}

void KyRegistry::setExternalDecoderIO(KyExternalDecoderIO const* io) {
  auto copy = io ? std::make_shared<KyExternalDecoderIO const>(*io) : nullptr;
  std::lock_guard const lock(state_->mutex);
  state_->io.swap(copy);
}

KyRegistry* ky_registry() {
  static KyRegistry* const registry = new KyRegistry;
  return registry;
}

#include "parser_xdcam_ex/source/cardcatalogue.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "parser_xdcam_ex/source/cardtags.h"

namespace {

constexpr std::string_view kClipFolder = "clpr/";

std::string lowered(std::string_view text) {
  std::string lower(text);
  for (char& character : lower)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return lower;
}

std::string extensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return lowered(dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1));
}

/// A uri relative to the catalogue, without its "./".
std::string_view relative(std::string_view uri) {
  if (uri.starts_with("./")) uri.remove_prefix(2);
  return uri;
}

std::string valueOf(const CardTag& tag, std::string_view name) {
  auto attribute = findAttribute(tag, name);
  return attribute ? std::move(attribute->value) : std::string();
}

/// UMIDs are hexadecimal (SMPTE 330M); their letters count in either case.
std::string umidOf(const CardTag& tag) { return lowered(valueOf(tag, "umid")); }

bool hasVisible(std::string_view text) { return text.find_first_not_of(" \t\r\n") != std::string_view::npos; }

}  // namespace

std::optional<DescribedUmid> findDescribedUmid(std::string_view description, bool smi) {
  CardTags tags(description);
  while (const auto tag = tags.next())
    if (auto umid = findAttribute(*tag, smi ? "umid" : "umidRef"))
      return DescribedUmid{lowered(umid->value), hasVisible(umid->rest)};
  return std::nullopt;
}

bool isAboutAClip(std::string_view name) {
  const std::string extension = extensionOf(name);
  return extension == "smi" || extension == "xml" || extension == "bim" || extension == "ppn";
}

CardCatalogue::CardCatalogue(std::string_view text) {
  Entry* open = nullptr;
  CardTags tags(text);
  while (const auto tag = tags.next()) {
    const bool names = tag->attributes.find("./CLPR/") != std::string_view::npos;
    if (tag->name == "Material") {
      open = nullptr;
      if (tag->closing) continue;
      entries_.push_back({umidOf(*tag), {}, {lowered(relative(valueOf(*tag, "uri")))}, names});
      if (!tag->empty) open = &entries_.back();
      continue;
    }
    if (!open || tag->closing) continue;
    const std::string uri = valueOf(*tag, "uri");
    open->files.push_back(lowered(relative(uri)));
    if (tag->name == "Component")
      open->components.push_back({umidOf(*tag), uri});
    else if (open->components.empty() && names)
      open->namesClipFirst = true;
  }
  index();
}

void CardCatalogue::index() {
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    own_.emplace(entries_[i].umid, i);
    for (const Component& component : entries_[i].components) {
      std::vector<std::size_t>& holders = holders_[component.umid];
      if (holders.empty() || holders.back() != i) holders.push_back(i);
      if (!isAboutAClip(component.uri)) essence_.emplace(component.umid, relative(component.uri));
    }
  }
}

const CardCatalogue::Entry* CardCatalogue::entryOf(const std::string& umid) const {
  if (umid.empty()) return nullptr;
  if (const auto own = own_.find(umid); own != own_.end()) return &entries_[own->second];
  const auto holders = holders_.find(umid);
  return holders == holders_.end() ? nullptr : &entries_[holders->second.front()];
}

const CardCatalogue::Entry* CardCatalogue::entryNaming(std::string_view file) const {
  const std::string wanted = lowered(file);
  const Entry* naming = nullptr;
  for (const Entry& entry : entries_) {
    if (entry.files.front() == wanted) return &entry;
    if (!naming && std::count(entry.files.begin(), entry.files.end(), wanted) > 0) naming = &entry;
  }
  return naming;
}

const CardCatalogue::Entry* CardCatalogue::takeWith(const Entry& entry) const {
  const auto another = [&](const std::string& umid) -> const Entry* {
    const auto holders = holders_.find(umid);
    if (umid.empty() || holders == holders_.end()) return nullptr;
    for (const std::size_t holder : holders->second)
      if (&entries_[holder] != &entry) return &entries_[holder];
    return nullptr;
  };
  if (const Entry* take = another(entry.umid)) return take;
  for (const Component& component : entry.components)
    if (const Entry* take = another(component.umid)) return take;
  return nullptr;
}

std::optional<std::vector<std::string>> CardCatalogue::clipsOf(const Entry& entry) const {
  std::vector<std::string> clips;
  for (const Component& component : entry.components) {
    if (!lowered(relative(component.uri)).starts_with(kClipFolder)) continue;
    auto clip = essenceOf(component);
    if (!clip) return std::nullopt;
    if (clips.empty() || clips.back() != *clip) clips.push_back(std::move(*clip));
  }
  return clips;
}

std::optional<std::string> CardCatalogue::essenceOf(const Component& component) const {
  if (!isAboutAClip(component.uri)) return std::string(relative(component.uri));
  const Entry* own = nullptr;
  if (!component.umid.empty()) {
    if (const auto essence = essence_.find(component.umid); essence != essence_.end()) return essence->second;
    if (const auto found = own_.find(component.umid); found != own_.end()) own = &entries_[found->second];
  } else {
    own = entryNaming(relative(component.uri));
  }
  if (!own) return std::nullopt;
  const std::vector<Component>& parts = own->components;
  const auto essence =
      std::find_if(parts.begin(), parts.end(), [](const Component& part) { return !isAboutAClip(part.uri); });
  if (essence == parts.end()) return std::nullopt;
  return std::string(relative(essence->uri));
}

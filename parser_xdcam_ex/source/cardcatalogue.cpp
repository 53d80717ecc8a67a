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
  std::size_t const dot = name.rfind('.');
  return lowered(dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1));
}

/// A uri relative to the catalogue, without its "./".
std::string_view relative(std::string_view uri) {
  if (uri.starts_with("./")) uri.remove_prefix(2);
  return uri;
}

std::string valueOf(CardTag const& tag, std::string_view name) {
  auto attribute = findAttribute(tag, name);
  return attribute ? std::move(attribute->value) : std::string();
}

/// UMIDs are hexadecimal (SMPTE 330M); their letters count in either case.
std::string umidOf(CardTag const& tag) { return lowered(valueOf(tag, "umid")); }

bool hasVisible(std::string_view text) { return text.find_first_not_of(" \t\r\n") != std::string_view::npos; }

}  // namespace

std::optional<DescribedUmid> findDescribedUmid(std::string_view description, bool smi) {
  CardTags tags(description);
  while (auto const tag = tags.next())
    if (auto umid = findAttribute(*tag, smi ? "umid" : "umidRef"))
      return DescribedUmid{lowered(umid->value), hasVisible(umid->rest)};
  return std::nullopt;
}

bool isAboutAClip(std::string_view name) {
  std::string const extension = extensionOf(name);
  return extension == "smi" || extension == "xml" || extension == "bim" || extension == "ppn";
}

CardCatalogue::CardCatalogue(std::string_view text) {
  Entry* open = nullptr;
  CardTags tags(text);
  while (auto const tag = tags.next()) {
    bool const names = tag->attributes.find("./CLPR/") != std::string_view::npos;
    if (tag->name == "Material") {
      open = nullptr;
      if (tag->closing) continue;
      entries_.push_back({umidOf(*tag), {}, {lowered(relative(valueOf(*tag, "uri")))}, names});
      if (!tag->empty) open = &entries_.back();
      continue;
    }
    if (!open || tag->closing) continue;
    std::string const uri = valueOf(*tag, "uri");
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
    for (Component const& component : entries_[i].components) {
      std::vector<std::size_t>& holders = holders_[component.umid];
      if (holders.empty() || holders.back() != i) holders.push_back(i);
      if (!isAboutAClip(component.uri)) essence_.emplace(component.umid, relative(component.uri));
    }
  }
}

CardCatalogue::Entry const* CardCatalogue::entryOf(std::string const& umid) const {
  if (umid.empty()) return nullptr;
  if (auto const own = own_.find(umid); own != own_.end()) return &entries_[own->second];
  auto const holders = holders_.find(umid);
  return holders == holders_.end() ? nullptr : &entries_[holders->second.front()];
}

CardCatalogue::Entry const* CardCatalogue::entryNaming(std::string_view file) const {
  std::string const wanted = lowered(file);
  Entry const* naming = nullptr;
  for (Entry const& entry : entries_) {
    if (entry.files.front() == wanted) return &entry;
    if (!naming && std::count(entry.files.begin(), entry.files.end(), wanted) > 0) naming = &entry;
  }
  return naming;
}

CardCatalogue::Entry const* CardCatalogue::takeWith(Entry const& entry) const {
  auto const another = [&](std::string const& umid) -> Entry const* {
    auto const holders = holders_.find(umid);
    if (umid.empty() || holders == holders_.end()) return nullptr;
    for (std::size_t const holder : holders->second)
      if (&entries_[holder] != &entry) return &entries_[holder];
    return nullptr;
  };
  if (Entry const* take = another(entry.umid)) return take;
  for (Component const& component : entry.components)
    if (Entry const* take = another(component.umid)) return take;
  return nullptr;
}

std::optional<std::vector<std::string>> CardCatalogue::clipsOf(Entry const& entry) const {
  std::vector<std::string> clips;
  for (Component const& component : entry.components) {
    if (!lowered(relative(component.uri)).starts_with(kClipFolder)) continue;
    auto clip = essenceOf(component);
    if (!clip) return std::nullopt;
    if (clips.empty() || clips.back() != *clip) clips.push_back(std::move(*clip));
  }
  return clips;
}

std::optional<std::string> CardCatalogue::essenceOf(Component const& component) const {
  if (!isAboutAClip(component.uri)) return std::string(relative(component.uri));
  Entry const* own = nullptr;
  if (!component.umid.empty()) {
    if (auto const essence = essence_.find(component.umid); essence != essence_.end()) return essence->second;
    if (auto const found = own_.find(component.umid); found != own_.end()) own = &entries_[found->second];
  } else {
    own = entryNaming(relative(component.uri));
  }
  if (!own) return std::nullopt;
  std::vector<Component> const& parts = own->components;
  auto const essence =
      std::find_if(parts.begin(), parts.end(), [](Component const& part) { return !isAboutAClip(part.uri); });
  if (essence == parts.end()) return std::nullopt;
  return std::string(relative(essence->uri));
}

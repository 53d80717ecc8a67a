#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// The UMID that a description names.
struct DescribedUmid {
  std::string value;
  /// Whether attributes follow it in its tag.
  bool followed = false;
};

/// The first attribute `umid` of an SMI, the first `umidRef` of a sidecar.
std::optional<DescribedUmid> findDescribedUmid(std::string_view description, bool smi);

/// Whether a catalogue's name is that of a file about a clip rather than of the clip: by its extension, in
/// capitals or not.
bool isAboutAClip(std::string_view name);

/// The entries (`Material`) of a card's catalogue and the essence files that they stand for. Immutable.
class CardCatalogue {
 public:
  struct Component {
    std::string umid, uri;
  };
  struct Entry {
    std::string umid;
    std::vector<Component> components;
    /// Every file that its tags name, relative to the folder of the catalogue, in lower case; the first is
    /// the one that its own tag names, empty where it names none.
    std::vector<std::string> files;
    /// Its tag, or an element before its first component, names "./CLPR/".
    bool namesClipFirst = false;
  };

  explicit CardCatalogue(std::string_view text);

  /// The entry whose own UMID this is, or else the first that has a component of it. Null when there is none.
  Entry const* entryOf(std::string const& umid) const;
  /// The entry whose own tag names this file, or else the first that names it at all, letters in either case.
  /// Null when there is none.
  Entry const* entryNaming(std::string_view file) const;
  /// Another entry that has this one, or what it consists of, as a component: the take of a clip. Null when
  /// there is none.
  Entry const* takeWith(Entry const& entry) const;
  /// Essence files of an entry, relative to the folder of the catalogue, in order, each once in a row.
  /// Nothing when a component cannot be resolved.
  std::optional<std::vector<std::string>> clipsOf(Entry const& entry) const;

 private:
  void index();
  std::optional<std::string> essenceOf(Component const& component) const;

  std::vector<Entry> entries_;
  /// Entries by their own UMID and by those of their components, and essence files by the latter.
  std::unordered_map<std::string, std::size_t> own_;
  std::unordered_map<std::string, std::vector<std::size_t>> holders_;
  std::unordered_map<std::string, std::string> essence_;
};

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace samples {

/// How the catalogue names a single clip (see README.md in this folder).
enum class CatalogueForm {
  /// Only the `Component` below the `Material` names the essence by "./CLPR/".
  child,
  /// The `Material` tag itself names "./CLPR/" too.
  attribute,
};

/// Picture format of a take. Rates are exact: `timeScale` / `frameDuration` frames per second.
struct PictureFormat {
  int width = 0;
  int height = 0;
  bool interlaced = false;
  int timeScale = 0;
  int frameDuration = 0;
  /// Pictures per GOP.
  int gopLength = 0;
  std::int64_t bitRate = 0;
  bool dropFrame = false;
};

/// One clip file.
struct Clip {
  std::string name;  ///< "632_0001_01"
  std::string umid;
  int part = 1;
  int frames = 0;
  /// Frames of the take before this clip.
  int firstFrame = 0;
};

struct Take {
  std::string name;  ///< "632_0001"
  /// Of a single clip, the same as its clip's.
  std::string umid;
  int number = 0;
  int audioTracks = 0;
  PictureFormat format;
  /// Time code of the first frame, in frames of the time code (pairs of frames at 50 per second).
  int startTimecode = 0;
  CatalogueForm form = CatalogueForm::child;
  std::vector<Clip> clips;

  bool spanned() const { return clips.size() > 1; }
  int frames() const { return clips.back().firstFrame + clips.back().frames; }
};

/// Liberties that texts of cards take. README.md in this folder says what each means to the card parser.
struct CardLayout {
  /// A UTF-8 byte-order mark before the catalogue and every description.
  bool byteOrderMarks = false;
  /// Lines ending in CR LF.
  bool carriageReturns = false;
  /// Further attributes behind `umid` and `umidRef`.
  bool followedUmids = false;
  /// Every clip named by a `Component` for its SMI and one for its MP4.
  bool twinComponents = false;
  /// A `RelevantInfo` with "./CLPR/" behind every clip's components, in the take's entry too.
  bool relevantInfo = false;
  /// Every attribute on a line of its own, and so the end of the tag.
  bool brokenTags = false;
  /// No folder TAKR, and no name in it.
  bool withoutTakr = false;
};

/// Format of all takes, by the names that catalogues use.
enum class CardRate { p23976, i50, i5994, p50 };

struct CardOptions {
  /// Length of every take in seconds; 0 is a few dozen frames.
  double seconds = 0;
  /// One format for all takes; without it each has its own.
  std::optional<CardRate> rate;
  /// Pictures of 352x288, 352x240 (30 Hz) and 320x192 (50 Hz) instead of the camera's sizes.
  bool small = false;
  /// Form of all single clips; without it takes 2 and 3 use `child` and take 4 `attribute`.
  bool oneForm = false;
  CatalogueForm form = CatalogueForm::child;
  CardLayout layout;
};

/// Takes of a sample card: 1 spans three clip files with four audio tracks, 2 is one clip of the same format
/// with two, 3 is 29.97 Hz drop frame, 4 is 1280x720p50.
std::vector<Take> planCard(CardOptions const& options);

constexpr int kSampleRate = 48000;

/// Audio samples before frame `frame` of a take, rounded to the nearest sample: at 29.97 Hz frames last 1602,
/// 1601, 1602, 1601 and 1602 samples in turn.
std::int64_t samplesBefore(PictureFormat const& format, int frame);

struct Timecode {
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  int frames = 0;
};

/// Time code of a frame of the take, counted after SMPTE 12M. At 50 frames per second two frames share one.
Timecode timecodeAt(Take const& take, int frame);

}  // namespace samples

// Descriptions of the entries of the subpicture list from their facts.
#pragma once

#include <string>

#include "host/any.h"
#include "mfimport/mfimport.h"

// Values of "type".
constexpr int kSubpicTypeExtracted = 0;
constexpr int kSubpicTypeOverlay = 2;
constexpr int kSubpicTypeCaptions = 4;

// Bitmap subtitles that the library draws into pictures.
struct OverlayFacts {
  MpegStreamId identity{};
};

// Closed captions in the user data of pictures.
struct CaptionFacts {};

// Subtitles that were extracted from the file as one text.
struct TextSubtitleFacts {
  std::string language;  // ISO 639
  std::string text;
  int title = 0;
  char const* subType = "";
};

// Subtitles that were extracted from the file as pictures, in a folder of theirs.
struct BitmapSubtitleFacts {
  std::string language, countryCode, mediaDesc;
  int title = 0;
  Any folder;
  std::string subType;
  int windowWidth = 0, windowHeight = 0;  // of the pictures that they are made for
};

// Sets the keys of a description; others stay.
void describe(OverlayFacts const& facts, AnyDict& info);
void describe(CaptionFacts const& facts, AnyDict& info);
void describe(TextSubtitleFacts const& facts, AnyDict& info);
void describe(BitmapSubtitleFacts const& facts, AnyDict& info);

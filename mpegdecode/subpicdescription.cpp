#include "mpegdecode/subpicdescription.h"

void describe(OverlayFacts const& facts, AnyDict& info) {
  MpegStreamId const& identity = facts.identity;
  info.set("type", kSubpicTypeOverlay);
  info.set("codecParams",
           AnyDict("id", static_cast<int>(identity.id), "pid", static_cast<int>(identity.pid), "sub_id",
                   static_cast<int>(identity.subId), "program_number", static_cast<int>(identity.program)));
}

void describe(CaptionFacts const&, AnyDict& info) { info.set("type", kSubpicTypeCaptions); }

void describe(TextSubtitleFacts const& facts, AnyDict& info) {
  info.set("type", kSubpicTypeExtracted);
  info.set("language", facts.language);
  info.set("subtitles", facts.text);
  info.set("titleNr", facts.title);
  info.set("subType", facts.subType);
  info.set("format", 0);
}

void describe(BitmapSubtitleFacts const& facts, AnyDict& info) {
  info.set("type", kSubpicTypeExtracted);
  info.set("language", facts.language);
  info.set("countryCode", facts.countryCode);
  info.set("mediaDesc", facts.mediaDesc);
  info.set("titleNr", facts.title);
  info.set("subtitles", facts.folder);
  info.set("subType", facts.subType);
  info.set("format", 0);
  info.set("windowWidth", facts.windowWidth);
  info.set("windowHeight", facts.windowHeight);
}

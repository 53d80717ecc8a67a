#include "mpegdecode/audiodescription.h"

void describe(AudioFacts const& facts, AnyDict& info) {
  info.set("codec", facts.codec);
  info.set("audioCodec", facts.codec);
  AnyDict codecParams;
  codecParams.set("id", static_cast<int>(facts.identity.id));
  codecParams.set("sub_id", static_cast<int>(facts.identity.subId));
  codecParams.set("pid", static_cast<int>(facts.identity.pid));
  codecParams.set("program_number", static_cast<int>(facts.identity.program));
  codecParams.set("firstAPTS", Any(static_cast<long>(facts.firstPts)));
  info.set("codecParams", codecParams);
  info.set("samplerate", facts.rate);
  info.set("bitsPerSample", facts.bits);
  info.set("bytesPerSample", facts.bytesPerSample);
  if (facts.actualBits) info.set("actualBitsPerSample", *facts.actualBits);
  info.set("channels", facts.channels);
  info.set("aBitrate", facts.bitRate);
  describeSamples(facts.samples, facts.rate, info);
  info.set("_explicitDRC", 0);
}

void describeSamples(int64_t samples, int rate, AnyDict& info) {
  double const seconds = static_cast<double>(samples) / rate;
  info.set("samples", Any(static_cast<long>(samples)));
  info.set("aDuration", seconds);
  info.set("duration", seconds);
}

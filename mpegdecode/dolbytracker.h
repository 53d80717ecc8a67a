// Metadata of a Dolby stream beside its samples.
#pragma once

#include "host/any.h"

class DolbyMetadataTracker {
 public:
  explicit DolbyMetadataTracker(int bytesPerSample) : bytesPerSample_(bytesPerSample) {}

  void remember(Any const& metadata) { last_ = metadata; }
  Any const& last() const { return last_; }
  void reset() { last_.invalidate(); }
  int bytesPerSample() const { return bytesPerSample_; }

  // Metadata and samples in step need the maker's bitstream parser, which this build does not have: reports
  // the failed check and gives -1.
  static int read();

 private:
  Any last_;
  int bytesPerSample_;
};

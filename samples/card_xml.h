#pragma once

#include <string>
#include <vector>

#include "samples/card_plan.h"

// Text files of a card, with lines ending in LF and without byte-order marks. README.md in this folder says
// why the catalogue is ordered and worded as it is.

namespace samples {

/// MEDIAPRO.XML: every clip's own entry, and behind the entries of its parts that of a spanned take.
std::string catalogueXml(std::vector<Take> const& takes, CardLayout const& layout = {});

/// The SMI of one clip file.
std::string clipSmi(Take const& take, Clip const& clip, CardLayout const& layout = {});

/// The SMI of a spanned take, below TAKR.
std::string takeSmi(Take const& take, CardLayout const& layout = {});

/// Metadata sidecar (M01.XML) of `frames` frames from `firstFrame` of the take on.
std::string sidecarXml(Take const& take, int firstFrame, int frames, CardLayout const& layout = {});

}  // namespace samples

#pragma once

#include <string>
#include <vector>

#include "samples/card_plan.h"

// Text files of a card, with lines ending in LF and without byte-order marks. README.md in this folder says
// why the catalogue is ordered and worded as it is.

namespace samples {

/// MEDIAPRO.XML: every clip's own entry, and behind the entries of its parts that of a spanned take.
std::string catalogueXml(const std::vector<Take>& takes, const CardLayout& layout = {});

/// The SMI of one clip file.
std::string clipSmi(const Take& take, const Clip& clip, const CardLayout& layout = {});

/// The SMI of a spanned take, below TAKR.
std::string takeSmi(const Take& take, const CardLayout& layout = {});

/// Metadata sidecar (M01.XML) of `frames` frames from `firstFrame` of the take on.
std::string sidecarXml(const Take& take, int firstFrame, int frames, const CardLayout& layout = {});

}  // namespace samples

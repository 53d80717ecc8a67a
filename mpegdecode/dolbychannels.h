// Channels of Dolby streams by name and place.
#pragma once

#include <utility>
#include <vector>

#include "mfimport/mfimport.h"

using NamedChannels = std::vector<std::pair<char const*, int>>;

// Names in the order of the bit stream (ATSC A/52:2018 table 5.8, the LFE last) with their place in the
// delivered samples. Channels that dependent substreams add stand behind those of the coding mode, by the
// names of table E2.5. Empty when the coding mode or the speakers are not known.
NamedChannels dolbyChannels(MpegAudioInfo const& audio);

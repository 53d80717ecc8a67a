#pragma once

#include <filesystem>

#include "samples/card_plan.h"

namespace samples {

/// Writes one clip file: pictures that carry their number (frame_pattern.h), sound that carries its position
/// (phase_signal.h), both counted over the whole take. Throws std::runtime_error.
void writeClip(std::filesystem::path const& path, Take const& take, Clip const& clip);

}  // namespace samples

#pragma once

#include <filesystem>

#include "samples/card_plan.h"

namespace samples {

/// Writes one clip file: pictures that carry their number (frame_pattern.h), sound that carries its position
/// (phase_signal.h), both counted over the whole take. Throws std::runtime_error.
void writeClip(const std::filesystem::path& path, const Take& take, const Clip& clip);

}  // namespace samples

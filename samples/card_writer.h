#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "samples/card_plan.h"

namespace samples {

/// Told after every finished clip file.
using ClipDone = std::function<void(const Take&, const Clip&)>;

/// Writes the card `folder`/BPAV. The card appears whole or not at all: it is built in a hidden folder beside
/// and renamed. An existing `folder`/BPAV is refused. Throws std::runtime_error with a text that names the
/// path.
void writeCard(const std::filesystem::path& folder, const std::vector<Take>& takes, const CardLayout& layout,
               const ClipDone& done = {});

}  // namespace samples

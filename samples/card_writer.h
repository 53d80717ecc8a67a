#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "samples/card_plan.h"

namespace samples {

/// Told after every finished clip file.
using ClipDone = std::function<void(Take const&, Clip const&)>;

/// Writes the card `folder`/BPAV. The card appears whole or not at all: it is built in a hidden folder beside
/// and renamed. An existing `folder`/BPAV is refused. Throws std::runtime_error with a text that names the
/// path.
void writeCard(std::filesystem::path const& folder, std::vector<Take> const& takes, CardLayout const& layout,
               ClipDone const& done = {});

}  // namespace samples

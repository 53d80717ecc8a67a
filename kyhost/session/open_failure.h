// Turns a refused file into a message that says what to do.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "kyhost/session/failure.h"

namespace kyhost {

// Throws Failure when `path` does not exist, is a folder or cannot be read.
void requireReadableFile(std::filesystem::path const& path);

// Whether the plug-in takes the file for a clip description of a card: extension xml or smi in any case.
bool isClipDescription(std::filesystem::path const& path);

// Essence files (.MP4) that belong to a clip description: in its folder those named like it, else all of
// them; for the description of a take, those of its clips.
std::vector<std::filesystem::path> essenceOf(std::filesystem::path const& description);

// `reasons` are the plug-in's texts, the most telling first, `remarks` what it logged on the way, `result`
// what its opening returned.
Failure openFailure(std::filesystem::path const& path, int result, std::vector<std::string> const& reasons,
                    std::vector<std::string> const& remarks);

}  // namespace kyhost

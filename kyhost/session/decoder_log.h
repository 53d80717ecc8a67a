// What the plug-in logs while it works, kept for the program's own messages.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kyhost {

// Installs the sink of the debug log. With a mask (levels of host/log.h) lines of these levels go to standard
// error; without one nothing is shown unless the environment variable KY_DEBUG asks for it.
void listenToDecoder(std::optional<int> mask);

// Error lines of the debug log so far, and its warnings and informations, without repetitions; then messages
// of the user log. All are removed.
std::vector<std::string> takeDecoderErrors();
std::vector<std::string> takeDecoderRemarks();
std::vector<std::string> takeUserMessages();

}  // namespace kyhost

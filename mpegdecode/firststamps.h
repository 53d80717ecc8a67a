// First time stamps as they really are, and audio that starts late brought into step with its video.
#pragma once

#include "mpegdecode/openedfile.h"

// Puts the time of the first unit that can be read into the description of every stream; one that cannot be
// measured keeps its reported stamp. -1 when the file cannot be read, else 0.
int measureFirstStamps(OpenedFile const& file, Any const& fileName);

// Whether audio of a file that was parsed is to be delayed.
bool avSyncWanted(KyCodec const& pipe, MpegIn const& file);
// Silence in front of every audio stream that starts later than its video by more than one frame.
void correctAvDelay(OpenedFile const& file, KyCodec const& pipe);

// Opening a file for a pipe.
#pragma once

#include <variant>

#include "mpegdecode/openedfile.h"

// 0 when the file can be read or the host reads it, else the result of opening, without an error text.
int checkReadable(MpegInParameters const& params);

// The file that the parameters name, complete with all its streams that could be opened; or the code of the
// error that the pipe was told, and nothing is left of the file.
std::variant<OpenedFile, int> openFile(PipeView const& pipe);

// What is read of the file itself once it is the open pipe's: first time stamps, late sound, subtitles and
// languages of DMF. What cannot be read stays as the library reported it.
void refineOpened(PipeView const& pipe, OpenedFile& file);

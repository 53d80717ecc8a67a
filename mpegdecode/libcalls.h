// Calls into the import library that may raise an exception, guarded, timed and logged.
#pragma once

#include <cstdint>
#include <optional>

#include "host/any.h"
#include "mfimport/mfimport.h"

// A new instance with our callbacks, or null, also after an exception.
MpegIn* guardedNew();
// `name` must hold narrow or wide text, else -13 without a call. Otherwise the library's result, -1 after an
// exception.
int guardedOpen(MpegIn* instance, Any const& name);
int guardedGetInfo(MpegIn* instance, Any const& name);
// 1 after an exception.
int guardedSeekSample(MpegIn* instance, int64_t sample);
int guardedSeekFrame(MpegIn* instance, int frame);  // -1 after an exception
// Nothing after an exception. Arguments as those of the library's calls.
std::optional<int> guardedVideoAuxinfo(MpegIn* instance, int request, void* record, int value);
std::optional<int> guardedAudioAuxinfo(MpegIn* instance, int request, void* record, int size);
int guardedNextFrame(MpegIn* instance);  // likewise
int guardedFileOpen(MfHandle* handle, Any const& name, MfSettings const* settings);

// Calls into the import library that may raise an exception, guarded, timed and logged.
#pragma once

#include <cstdint>

#include "host/any.h"
#include "mfimport/mfimport.h"

// `name` must hold narrow or wide text, else -13 without a call. Otherwise the library's result, -1 after an
// exception.
int guardedOpen(MpegIn* instance, Any const& name);
int guardedGetInfo(MpegIn* instance, Any const& name);
// 1 after an exception.
int guardedSeekSample(MpegIn* instance, int64_t sample);
int guardedSeekFrame(MpegIn* instance, int frame);  // -1 after an exception
int guardedFileOpen(MfHandle* handle, Any const& name, MfSettings const* settings);

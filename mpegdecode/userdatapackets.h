// User data of a decoder's current picture, as packets.
#pragma once

#include <string>

#include "host/userdata.h"
#include "mfimport/mfimport.h"

// Replaces the picture packets (kUserDataPicture) in `out` by those of the decoder's current picture. `codec`
// is the stream's codec name; codecs other than "MPEG-1", "MPEG-2", "MPEG-4" and "H.264" have none.
void collectUserData(MpegIn* decoder, std::string const& codec, KyUserData& out);

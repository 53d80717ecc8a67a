// What kind of container a file is, in the terms of the public interface.
#pragma once

#include <initializer_list>

#include "mediafile/container.h"

namespace mfimport {

// A kContainer value.
int containerTypeOf(mediafile::Container& container);

// By the names that libavformat gives its demultiplexers.
bool formatIsAnyOf(AVFormatContext const& format, std::initializer_list<char const*> names);

}  // namespace mfimport

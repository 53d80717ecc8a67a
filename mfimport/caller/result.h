// How operations of this library fail.
#pragma once

#include "mediafile/result.h"

namespace mfimport {

using mediafile::Error;
using mediafile::Fault;
using mediafile::Result;

inline Error failed(std::string text) { return {Fault::failed, std::move(text)}; }

}  // namespace mfimport

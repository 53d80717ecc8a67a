// printf formatting into a string of any length. Not installed; used by the files of this library only.
#pragma once

#include <cstdarg>
#include <string>

// A null format gives an empty text, one that the C library refuses (an ill-formed wide argument) the format
// itself. Throws std::bad_alloc only.
std::string kyVformat(char const* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

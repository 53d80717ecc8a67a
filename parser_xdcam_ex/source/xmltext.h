#pragma once

#include <string>

/// Replaces every `from` in `text` by `to`, left to right. What a replacement produced is not searched again.
/// An empty `from` changes nothing.
void replaceAll(std::string& text, std::string const& from, std::string const& to);

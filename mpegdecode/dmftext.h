// Texts of the DMF demultiplexer's records as host strings.
#pragma once

#include <cstdint>
#include <span>
#include <string>

// A code such as a language: one byte for each character, up to the first 0.
std::string dmfCode(std::span<uint16_t const> characters);
// UTF-8 of UTF-16, up to the first 0.
std::string dmfText(std::span<uint16_t const> characters);

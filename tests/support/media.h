// Files for tests and the independent decode that results are held against.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/frame.h"

namespace test {

// A folder of this process, removed at its end.
std::filesystem::path const& scratchDir();

// Runs a shell command; throws std::runtime_error with its output when it fails.
std::string run(std::string const& command);
std::string quoted(std::filesystem::path const& path);

// A file made by the `ffmpeg` program once per process: `arguments` between "ffmpeg" and the output name.
std::filesystem::path made(std::string const& name, std::string const& arguments);

// The sample card of `make_card`, made once per process. `small` cards have tiny pictures.
std::filesystem::path sampleCard(bool small);
// One with options of its own.
std::filesystem::path sampleCard(std::string const& name, std::string const& options);
// Its spanned take: the description that opens it, and its clips in playing order.
struct SampleTake {
  std::filesystem::path description;
  std::vector<std::filesystem::path> clips;
};
SampleTake spannedTake(bool small);

// MD5 of each picture of the first video stream, as the `ffmpeg` program decodes it; `options` go before
// "-f".
std::vector<std::string> frameHashes(std::filesystem::path const& file, std::string const& options = "");
// All pictures as raw bytes in a pixel format of the `ffmpeg` program.
std::vector<uint8_t> rawPictures(std::filesystem::path const& file, std::string const& pixelFormat);
// Decoded samples of audio stream `stream`, interleaved, in a raw sample format of the `ffmpeg` program.
std::vector<uint8_t> samples(std::filesystem::path const& file, int stream, std::string const& format,
                             std::string const& options = "");

std::string md5(std::span<uint8_t const> bytes);
// MD5 of the rows of all planes without padding, as the `ffmpeg` program hashes raw pictures.
std::string md5(KyFrame const& frame);

// File descriptors that this process has open.
long openDescriptors();

}  // namespace test

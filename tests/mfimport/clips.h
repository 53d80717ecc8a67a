// Test clips, made on demand by the ffmpeg program in a folder that lives as long as the test program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Runs `ffmpeg` with `arguments`, {out} standing for the clip's path, unless clip `name` is there already.
// Returns the path; fails the test when ffmpeg fails.
std::string clip(std::string const& name, std::string const& arguments);

// A path in the same folder, for files that tests write themselves.
std::string scratch(std::string const& name);

// Output of `ffmpeg inputOptions -i path arguments -`.
std::vector<uint8_t> decodedByFfmpeg(std::string const& path, std::string const& arguments,
                                     std::string const& inputOptions = "");

// Lines that a shell command prints.
std::vector<std::string> linesOf(std::string const& command);

std::vector<uint8_t> fileBytes(std::string const& path);
void writeFile(std::string const& path, void const* data, size_t size);
void writeFile(std::string const& path, std::string const& text);

// The clips that several tests share.
std::string openGopMp4();        // H.264, open GOP, B pyramid, AAC
std::string openGopMov();        // the same in QuickTime, 16-bit PCM
std::string editListMp4();       // cut out of openGopMp4, begins between key pictures
std::string hevc10Mp4();         // 10 bit 4:2:0
std::string mpeg2Mov();          // 1920x1080 interlaced, long GOP, two mono tracks of big-endian PCM
std::string nonReferenceBMp4();  // H.264 whose B pictures are referred to by no other

// An instance of the library as a host uses it, with a target of its own and the messages that it printed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mfimport/mfimport.h"

// Messages of all instances of this test program, newest last.
std::vector<std::string>& printedMessages();
bool wasPrinted(std::string const& part);

// Callbacks as a host hands them out.
void* testResources(char const* name);
// Blocks that the library allocated through them and has not released.
int64_t blocksInUse();
// So many more blocks can be had of all instances, then none; INT64_MAX for as many as there are.
void limitBlocks(int64_t further);

class Player {
 public:
  Player();
  ~Player();
  Player(Player const&) = delete;
  Player& operator=(Player const&) = delete;

  MpegIn* operator->() { return instance_; }
  MpegIn* get() { return instance_; }

  int parse(std::string const& path);
  // Selects video stream `number` (1-based) and provides a target in `fourcc`.
  int openVideo(std::string const& path, char const (&fourcc)[5] = "I420", int number = 1);
  int openAudio(std::string const& path, MpegAudioFormat format, int number = 1);

  int seek(int frame) { return mpegInSeekFrame(instance_, frame); }
  int next() { return mpegInGetNextFrame(instance_); }
  // The target's bytes, rows without padding, plane after plane.
  std::vector<uint8_t> const& picture() const { return target_; }
  std::vector<uint8_t>& target() { return target_; }
  MpegDecodeStats stats();

  int seekSample(int64_t sample) { return mpegInSeekSample64(instance_, 0, sample, 0); }
  // Reads to the end in blocks of `block` samples.
  std::vector<uint8_t> readAll(int block);

 private:
  MpegIn* instance_;
  std::vector<uint8_t> target_;
};

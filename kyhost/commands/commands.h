// The program's commands. Each opens its file, does its work and returns; all throw Failure or Interrupted.
#pragma once

#include <string>

#include "kyhost/session/session.h"

namespace kyhost {

struct InfoOptions {
  std::string path;
  bool json = false;
};
void runInfo(Settings const& settings, InfoOptions const& options);

struct FramesOptions {
  std::string path;
  int stream = 0;
  std::string from, to;  // positions as parsePosition() reads them; empty: first and last
  std::string output;
  std::string format;  // "y4m", "raw", "png"; empty: by the output's name
  int overlay = -1;    // bitmap subtitle stream, -1 none
  bool skipErrors = false;
};
void runFrames(Settings const& settings, FramesOptions const& options);

struct AudioOptions {
  std::string path;
  int stream = 0;
  std::string from, to;
  std::string output;
};
void runAudio(Settings const& settings, AudioOptions const& options);

struct SubsOptions {
  std::string path;
  int stream = 0;
  std::string output;
};
void runSubs(Settings const& settings, SubsOptions const& options);

struct HashOptions {
  std::string path;
  bool json = false;
};
void runHash(Settings const& settings, HashOptions const& options);

struct ContactOptions {
  std::string path;
  int stream = 0;
  std::string output;
  int overlay = -1;  // bitmap subtitle stream, -1 none
  int columns = 4;
  int rows = 3;
  int width = 1280;  // of the sheet, pixels
};
void runContact(Settings const& settings, ContactOptions const& options);

struct GetOptions {
  std::string path;
  std::string key;       // of the decoder, or "video0/width" of a stream
  std::string argument;  // of the question, or empty
  bool json = false;
};
void runGet(Settings const& settings, GetOptions const& options);

struct TimestampsOptions {
  std::string path;
  int stream = 0;
  bool json = false;
};
void runTimestamps(Settings const& settings, TimestampsOptions const& options);

struct CaptionOptions {
  std::string path;
  int stream = 0;      // among the closed-caption streams
  int channel = 1;     // CC1 to CC4
  std::string output;  // .srt or .scc; empty or "-": lines with times
};
void runCaptions(Settings const& settings, CaptionOptions const& options);

struct BenchOptions {
  std::string path;
  int stream = 0;
  int frames = 0;  // read one after another; 0: all
  int seeks = 50;
  unsigned seed = 1;  // of the seek positions
  bool json = false;
};
void runBench(Settings const& settings, BenchOptions const& options);

}  // namespace kyhost

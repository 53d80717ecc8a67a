#include "player.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace {

std::atomic<int64_t> blocks{0};
std::atomic<int64_t> blocksLeft{INT64_MAX};
std::mutex messageMutex;

void keep(char const* format, va_list arguments) {
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  std::lock_guard const lock(messageMutex);
  printedMessages().push_back(text);
}

void print(char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep(format, arguments);
  va_end(arguments);
}

void printProgress(int, char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep(format, arguments);
  va_end(arguments);
}

void* allocate(size_t size) {
  if (blocksLeft-- <= 0) return nullptr;
  ++blocks;
  return std::malloc(size);
}

void release(void* block) {
  if (block) --blocks;
  std::free(block);
}

}  // namespace

std::vector<std::string>& printedMessages() {
  static std::vector<std::string> messages;
  return messages;
}

bool wasPrinted(std::string const& part) {
  auto const& all = printedMessages();
  return std::any_of(all.begin(), all.end(),
                     [&](auto const& text) { return text.find(part) != std::string::npos; });
}

int64_t blocksInUse() { return blocks; }

void limitBlocks(int64_t further) { blocksLeft = further; }

void* testResources(char const* name) {
  std::string const wanted = name;
  if (wanted == "malloc") return reinterpret_cast<void*>(&allocate);
  if (wanted == "free") return reinterpret_cast<void*>(&release);
  if (wanted == "prg_printf") return reinterpret_cast<void*>(&printProgress);
  if (wanted == "err_printf" || wanted == "wrn_printf" || wanted == "inf_printf")
    return reinterpret_cast<void*>(&print);
  return nullptr;
}

Player::Player() : instance_(mpegInNew(testResources, 0)) {
  std::lock_guard const lock(messageMutex);
  printedMessages().clear();
}

Player::~Player() {
  mpegInClose(instance_);
  mpegInFree(instance_);
}

int Player::parse(std::string const& path) {
  instance_->fileName = path.c_str();
  int const result = mpegInGetInfo(instance_);
  instance_->fileName = nullptr;
  return result;
}

int Player::openVideo(std::string const& path, char const (&fourcc)[5], int number) {
  instance_->set.videoStream = number;
  instance_->video.fourcc = mpegFourcc(fourcc);
  int const result = mpegInOpen(instance_, path.c_str());
  if (result != 0) return result;
  int const width = instance_->video.width, height = instance_->video.height;
  int const halfWidth = (width + 1) / 2, halfHeight = (height + 1) / 2;
  std::string const format = fourcc;
  int const bytes = format == "W016" ? 2 : 1;
  if (format == "I420" || format == "W016") {
    int const sizes[] = {width * height * bytes, halfWidth * halfHeight * bytes,
                         halfWidth * halfHeight * bytes};
    target_.assign(static_cast<size_t>(sizes[0] + sizes[1] + sizes[2]), 0);
    uint8_t* at = target_.data();
    for (int p = 0; p < 3; ++p) {
      instance_->target.plane[p] = at;
      instance_->target.stride[p] = (p == 0 ? width : halfWidth) * bytes;
      at += sizes[p];
    }
    return 0;
  }
  int const stride = format == "YUYV" ? 4 * halfWidth : format == "Y216" ? 8 * halfWidth : 4 * width;
  target_.assign(static_cast<size_t>(stride) * static_cast<size_t>(height), 0);
  instance_->target.plane[0] = target_.data();
  instance_->target.stride[0] = stride;
  return 0;
}

int Player::openAudio(std::string const& path, MpegAudioFormat format, int number) {
  std::fill(std::begin(instance_->set.audioStream), std::end(instance_->set.audioStream), 0);
  instance_->set.audioStream[format] = number;
  return mpegInOpen(instance_, path.c_str());
}

MpegDecodeStats Player::stats() {
  MpegDecodeStats stats{};
  EXPECT_EQ(mpegInVideoAuxinfo(instance_, 0, kAuxStats, &stats, sizeof stats), 0);
  return stats;
}

std::vector<uint8_t> Player::readAll(int block) {
  auto const bytes = static_cast<size_t>(instance_->audio.blockAlign);
  std::vector<uint8_t> all, part(static_cast<size_t>(block) * bytes);
  for (;;) {
    int const got = mpegInGetNextSample(instance_, part.data(), block);
    if (got <= 0) {
      EXPECT_EQ(got, 0);
      return all;
    }
    EXPECT_LE(got, block);
    all.insert(all.end(), part.begin(),
               part.begin() + static_cast<std::ptrdiff_t>(static_cast<size_t>(got) * bytes));
  }
}

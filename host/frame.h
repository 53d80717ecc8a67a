// A decoded picture and what goes with it.
#pragma once

#include <cstdint>
#include <memory>

#include "host/any.h"
#include "host/api.h"
#include "host/colour.h"
#include "host/userdata.h"

constexpr uint32_t kyFourcc(char const (&text)[5]) {
  return static_cast<uint32_t>(static_cast<unsigned char>(text[0])) |
         static_cast<uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[3])) << 24;
}

// Timing and memory of a picture.
struct KyFrame_tt {
  int64_t number = 0;  // frame number in its stream, 0-based
  KyFramerate rate;
  unsigned char* plane[4] = {};
  int stride[4] = {};  // bytes from row to row
  int planes = 0;
};

// Layouts (top-down):
//   I420  planes Y, U, V of 8 bits; chroma (w+1)/2 x (h+1)/2
//   W016  as I420 with 16-bit little-endian components, value in the upper bits
//   YUYV  Y0 U Y1 V of 8 bits, also known as YUY2
//   Y216  Y0 U Y1 V of 16 bits little-endian, value in the upper bits
//   BGR4  B G R A of 8 bits
//   b64a  A R G B of 16 bits big-endian
// Memory of its own is 64-byte aligned in every row, with padding after each row and plane that vector
// code may read. One thread uses a frame at a time. Not copied; moves keep addresses.
class KY_API KyFrame {
 public:
  KyFrame();
  ~KyFrame();
  KyFrame(KyFrame&&) noexcept;
  KyFrame& operator=(KyFrame&&) noexcept;

  // With `data` null the frame allocates its planes, zeroed; else it refers to the caller's memory, which
  // must outlive it: `planes` holds one Pair(address, stride in bytes) per plane, or is null for rows without
  // padding, planes one after another. 0, or -1 for an unknown FOURCC, a size outside 1 .. 16384, a plane
  // without address or with a stride shorter than its row, or no memory; then the frame is empty. Number,
  // rate, matrix and user data start anew.
  int init(unsigned fourcc, int width, int height, unsigned char* data = nullptr,
           AnyVector const* planes = nullptr);
  // A view of the rows `firstRow` .. `firstRow + height - 1` of another frame, whose memory it keeps alive
  // and whose number, rate and matrix it takes over; not its user data. 0, or -1 when the rows are outside
  // or, of a 4:2:0 layout, do not start on an even row.
  int initView(KyFrame const& owner, int firstRow, int height);
  void destroy();

  bool empty() const { return tt_.planes == 0; }
  uint32_t fourcc() const { return fourcc_; }
  int planes() const { return tt_.planes; }
  int width(int plane = 0) const;  // pixels of the plane; 0 when it does not exist
  int height(int plane = 0) const;
  int stride(int plane = 0) const;
  int rowBytes(int plane = 0) const;  // bytes of a row that carry the picture
  // Address of a pixel; null outside the plane. In YUYV and Y216 an odd x gives the Y of that pixel.
  unsigned char* pixelPtr(int plane, int x, int y) const;
  bool is420() const;
  // Renames the layout to one of the same memory layout (KyUtil::exchengeableFOURCC); others are ignored.
  void changeFOURCC(unsigned fourcc);

  void setYUVMatrix(KyYUVMatrix matrix) { matrix_ = matrix; }
  KyYUVMatrix yuvMatrix() const { return matrix_; }
  void setUserData(KyUserData const& data);
  void clearUserData();
  KyUserData const* userData() const { return userData_.get(); }  // null when there is none

  KyFrame_tt const& getFrame_tt() const { return tt_; }
  int64_t frameNumber() const { return tt_.number; }
  void setFrameNumber(int64_t number) { tt_.number = number; }
  void setFramerate(KyFramerate const& rate) { tt_.rate = rate; }
  KyFramerate const& framerate() const { return tt_.rate; }

 private:
  uint32_t fourcc_ = 0;
  int width_ = 0;
  int height_ = 0;
  KyFrame_tt tt_;
  std::shared_ptr<unsigned char> memory_;
  KyYUVMatrix matrix_ = KyYUVMatrix::Unknown;
  std::unique_ptr<KyUserData> userData_;
};

// Brings luma that uses the full range 0..255 into the range 16..235 of ITU-R BT.601, in place, on the 8- and
// 16-bit YUV layouts; RGB layouts are left alone. 16-bit layouts are taken as carrying 10 bits, so that their
// 0..1023 becomes 64..940.
class KY_API YSwingCorrect {
 public:
  void correct(KyFrame& frame) const;
};

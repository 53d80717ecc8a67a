#pragma once

#include "host/any.h"
#include "host/api.h"

class KyCodec;

class KY_API KyUtil {
 public:
  // Extension of a file name without the dot, lower-cased when `lower`.
  static Any getExt(Any const& name, bool lower);
  // Logs "[<codec name>] setParam <key>=<value>" as information.
  static void debugOutSetParam(KyCodec const* codec, char const* key, Any const& value);
  static bool equ(double a, double b, double eps);  // |a - b| <= eps
  // True when both name the same memory layout: equal, YUYV and YUY2, I420 and IYUV, BGR4 and BGRA.
  static bool exchengeableFOURCC(int a, int b);
  // Whether the file is `.../CONTENTS/{AUDIO,VIDEO}/name.MXF` beside `CONTENTS/CLIP`; fills "root" (the
  // folder that holds CONTENTS), "contents", "audio", "video", "clip" (folders) and "clipName" (a VIDEO
  // file's name, an AUDIO file's without its two channel digits).
  static bool getP2FolderStructure(Any const& path, AnyDict& out);
  // Profiles of MPEG-2 kinds: identifiers 0x2030000 to 0x216ffff.
  static bool isProfile2(int profile);
  // Number of the frame shown at a 27 MHz time: floor(pts x rate / 27 MHz), to the nearest when `nearest`; 0
  // when the rate is not positive. A time within a thousandth of a frame before a frame's start counts as its
  // start.
  static int pts2FrameNr(long pts, double rate, bool nearest);
};

class KY_API KyNum {
 public:
  static bool equ(double a, double b, double eps);
};

#pragma once

#include "host/plugin.h"

// Creates the decoders of camera cards.
class XdcamDecoderModule : public KyModule {
 public:
  XdcamDecoderModule();

  // Owned by the caller; must not outlive this module.
  KyDecodePipe* createInstance() override;
};

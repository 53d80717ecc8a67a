#include "plugin/xdcamdecodermodule.h"

#include "xdcamdecode/xdcamdec.h"

namespace {
constexpr int kDecoderModule = 2;
}

XdcamDecoderModule::XdcamDecoderModule()
    : KyModule(kDecoderModule, "xdcamdec", "XDCAM parser/decoder", "XDCAM Import", nullptr) {
  attrs_.set("joinMonoStreams", 1);
  attrs_.set("exts", AnyVector{"mzl", "xml", "smi"});
  attrs_.set("priority", 15);
}

KyDecodePipe* XdcamDecoderModule::createInstance() { return new XdcamDec(this); }

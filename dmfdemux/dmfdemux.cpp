#include "dmfdemux/dmfdemux.h"

#include <new>

struct DmfDemux {
  DmfResourceGetter getter;
  void* context;
};

DmfDemux* dmfDemuxNew(DmfResourceGetter getter, void* context) {
  return new (std::nothrow) DmfDemux{getter, context};
}

void dmfDemuxFree(DmfDemux* demux) { delete demux; }

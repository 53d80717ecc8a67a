// The DMF demultiplexer: subtitle streams and language descriptors of DMF files.
//
// Plain functions; an instance belongs to one thread at a time. No function throws.
#pragma once

#define DMFDEMUX_API __attribute__((visibility("default")))

struct DmfDemux;

// Hands out callbacks by name, null for an unknown one; `context` is passed back.
extern "C" typedef void* (*DmfResourceGetter)(void* context, const char* name);

extern "C" {
// A new demultiplexer, or null without memory. `getter` may be null. To be released with dmfDemuxFree.
DMFDEMUX_API DmfDemux* dmfDemuxNew(DmfResourceGetter getter, void* context);
// Null is ignored.
DMFDEMUX_API void dmfDemuxFree(DmfDemux* demux);
}

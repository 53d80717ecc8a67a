// The decoder functions of the public interface.
#include <cstdio>
#include <exception>
#include <new>

#include "mfimport/api/instance.h"

namespace {

// Nothing is thrown into the caller: lack of memory and the unforeseen become results.
template <class Operation>
int guarded(MpegIn const* instance, char const* name, Operation operation) noexcept {
  if (!instance || !instance->impl) return kMpegError;
  mfimport::HostCallbacks const& host = instance->impl->host;
  try {
    return operation(*instance->impl);
  } catch (std::bad_alloc const&) {
    host.error(std::string("mfimport: out of memory in ") + name);
    return kMpegErrorMemory;
  } catch (std::exception const& failure) {
    host.error(std::string("mfimport: ") + name + ": " + failure.what());
  } catch (...) {
    host.error(std::string("mfimport: unknown failure in ") + name);
  }
  return kMpegError;
}

int answerModuleQuery(int query, void* out) {
  if (!out) return kMpegError;
  switch (query) {
    case 1:
      std::snprintf(static_cast<char*>(out), 128, "mfimport");
      return kMpegOk;
    case 3: {
      auto& version = *static_cast<MpegModuleVersion*>(out);
      version = {1, KY_VERSION_MAJOR, KY_VERSION_MINOR, KY_VERSION_PATCH, 0};
      return kMpegOk;
    }
    case 4:
      std::snprintf(static_cast<char*>(out), 128, "%d.%d.%d", KY_VERSION_MAJOR, KY_VERSION_MINOR,
                    KY_VERSION_PATCH);
      return kMpegOk;
    default:
      return kMpegErrorUnsupported;
  }
}

}  // namespace

MpegIn* mpegInNew(MpegResourceGetter getter, int) {
  mfimport::HostMemory const memory = mfimport::HostCallbacks(getter).memory();
  void* const block = memory.allocate(sizeof(MpegIn));
  if (!block) return nullptr;
  auto* const instance = new (block) MpegIn{};
  try {
    instance->impl = new MpegInImpl(getter, *instance);
    return instance;
  } catch (...) {
    memory.release(block);
    return nullptr;
  }
}

int mpegInGetInfo(MpegIn* instance) {
  return guarded(instance, "mpegInGetInfo", [&](MpegInImpl& impl) {
    return instance->fileName ? impl.parse(instance->fileName) : static_cast<int>(kMpegErrorOpen);
  });
}

int mpegInOpen(MpegIn* instance, char const* name) {
  return guarded(instance, "mpegInOpen",
                 [&](MpegInImpl& impl) { return name ? impl.open(name) : static_cast<int>(kMpegErrorOpen); });
}

int mpegInVideoAuxinfo(MpegIn* instance, int, int request, void* record, int value) {
  return guarded(instance, "mpegInVideoAuxinfo",
                 [&](MpegInImpl& impl) { return impl.videoRequest(request, record, value); });
}

int mpegInAudioAuxinfo(MpegIn* instance, int, int request, void* record, int size) {
  return guarded(instance, "mpegInAudioAuxinfo",
                 [&](MpegInImpl& impl) { return impl.audioRequest(request, record, size); });
}

int mpegInSeekFrame(MpegIn* instance, int frame) {
  return guarded(instance, "mpegInSeekFrame", [&](MpegInImpl& impl) { return impl.seekFrame(frame); });
}

int mpegInGetNextFrame(MpegIn* instance) {
  return guarded(instance, "mpegInGetNextFrame", [&](MpegInImpl& impl) { return impl.nextFrame(); });
}

int mpegInSeekSample64(MpegIn* instance, int, int64_t sample, int) {
  return guarded(instance, "mpegInSeekSample64", [&](MpegInImpl& impl) { return impl.seekSample(sample); });
}

int mpegInGetNextSample(MpegIn* instance, void* buffer, int count) {
  return guarded(instance, "mpegInGetNextSample",
                 [&](MpegInImpl& impl) { return impl.nextSamples(buffer, count); });
}

void mpegInClose(MpegIn* instance) {
  guarded(instance, "mpegInClose", [](MpegInImpl& impl) {
    impl.close();
    return static_cast<int>(kMpegOk);
  });
}

void mpegInFree(MpegIn* instance) {
  if (!instance) return;
  mpegInClose(instance);
  mfimport::HostMemory const memory = instance->impl->host.memory();
  delete instance->impl;
  memory.release(instance);
}

void* mpegInGetAPIExt(int query) {
  return query == 1 ? reinterpret_cast<void*>(&answerModuleQuery) : nullptr;
}

#pragma once

#include <mutex>

namespace KYThreads {

// Not recursive. Works with std::lock_guard.
class KyCriticalSection {
 public:
  void enter() { mutex_.lock(); }
  void leave() { mutex_.unlock(); }
  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

}  // namespace KYThreads

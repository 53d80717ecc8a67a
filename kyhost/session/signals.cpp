#include "kyhost/session/signals.h"

#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>

#include "kyhost/session/failure.h"

namespace kyhost {
namespace {

std::atomic<int> received{0};
std::atomic<bool> unfinishedSet{false};
std::array<char, 4096> unfinished{};

static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

// Only functions that are safe in a handler, POSIX.1-2017 2.4.3.
void onSignal(int signal) {
  if (received.exchange(signal) == 0) return;
  if (unfinishedSet.load()) unlink(unfinished.data());
  _exit(128 + signal);
}

}  // namespace

void installSignalHandlers() {
  struct sigaction action{};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A reader of the pipe that goes away is a write error like any other.
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

void checkInterrupt() {
  if (int const signal = received.load()) throw Interrupted{signal};
}

void removeOnSecondSignal(std::string const& path) {
  unfinishedSet = false;
  if (path.empty() || path.size() >= unfinished.size()) return;
  path.copy(unfinished.data(), path.size());
  unfinished[path.size()] = '\0';
  unfinishedSet = true;
}

}  // namespace kyhost

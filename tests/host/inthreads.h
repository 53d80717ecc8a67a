#pragma once

#include <thread>
#include <vector>

// Runs function(0) to function(count - 1) in threads of their own and waits for all.
template <class Function>
void inThreads(int count, Function function) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(count));
  for (int t = 0; t < count; ++t) threads.emplace_back(function, t);
  for (std::thread& thread : threads) thread.join();
}

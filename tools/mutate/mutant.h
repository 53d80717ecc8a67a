// Which mutant is on, and which were reached: included before every file of the tree that mutants are woven
// into.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace ky_mutation {

struct State {
  int active = 0;                    // KY_MUTANT
  unsigned char* reached = nullptr;  // KY_MUTANT_MAP: a file with a byte for each mutant
  long size = 0;

  State() {
    if (char const* const number = std::getenv("KY_MUTANT")) active = std::atoi(number);
    char const* const name = std::getenv("KY_MUTANT_MAP");
    int const file = name ? ::open(name, O_RDWR | O_CLOEXEC) : -1;
    if (file < 0) return;
    size = static_cast<long>(::lseek(file, 0, SEEK_END));
    void* const map =
        ::mmap(nullptr, static_cast<unsigned long>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (map != MAP_FAILED) reached = static_cast<unsigned char*>(map);
    ::close(file);
  }
};

inline State const& state() {
  static State const* const one = new State;
  return *one;
}

}  // namespace ky_mutation

inline bool ky_mut(int number) {
  ky_mutation::State const& state = ky_mutation::state();
  if (state.reached && number < state.size) state.reached[number] = 1;
  return state.active == number;
}

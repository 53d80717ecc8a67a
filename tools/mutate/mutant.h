// Which mutant is on, and which were reached: included before every file of the tree that mutants are woven
// into.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace ky_mutation {

struct State {
  // KY_MUTANT; or, while a process serves one mutant after the other, what KY_MUTANT_CONTROL holds now, a
  // file of one int that all libraries of the process look into.
  int own = 0;
  int volatile* active = &own;
  unsigned char* reached = nullptr;  // KY_MUTANT_MAP: a file with a byte for each mutant
  long size = 0;

  State() {
    if (char const* const number = std::getenv("KY_MUTANT")) own = std::atoi(number);
    if (void* const control = mapped("KY_MUTANT_CONTROL")) active = static_cast<int volatile*>(control);
    reached = static_cast<unsigned char*>(mapped("KY_MUTANT_MAP"));
  }

  // The file that a variable names, as shared memory; its size goes to `size`.
  void* mapped(char const* variable) {
    char const* const name = std::getenv(variable);
    int const file = name ? ::open(name, O_RDWR | O_CLOEXEC) : -1;
    if (file < 0) return nullptr;
    size = static_cast<long>(::lseek(file, 0, SEEK_END));
    void* const map =
        ::mmap(nullptr, static_cast<unsigned long>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return map != MAP_FAILED ? map : nullptr;
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
  return *state.active == number;
}

// Import library instances, counted: a program that links instances.cpp is asked before the library.
#pragma once

namespace test {

struct Instances {
  long made;
  long alive;
  long wronglyFreed;  // not made, or freed before
};
Instances instances();

}  // namespace test

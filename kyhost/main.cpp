#include "kyhost/commands/program.h"

int main(int argc, char** argv) { return kyhost::runProgram(argc, argv); }

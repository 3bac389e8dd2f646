// pralix: the command-line face of DCAM Pralix.
#include <iostream>

#include "cli/command.h"

int main(int argc, char** argv) { return runPralix(argc, argv, std::cout, std::cerr); }

// EmptyProgram.cpp - a program that does nothing but start and end, with what any C++ program
// loads: the C++ library with its streams, the mathematical one and the C library.
#include <iostream>

int main(int, char **argv) { return std::cout.good() && argv != nullptr ? 0 : 1; }

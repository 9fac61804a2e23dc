// main.cpp - somebody else's program, which has nothing to do but be found.
int main() { return 0; }

// See CMakeLists.txt: holds the precompiled headers of the tests.
int main() {}

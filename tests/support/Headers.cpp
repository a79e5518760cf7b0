// What CMake precompiles the headers of the tests with.
int main() {}

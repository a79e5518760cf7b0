// Headers are precompiled for a target, and a target needs a source.
int main() {}

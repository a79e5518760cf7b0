// The main of every test program: runs the tests, then fails if counted objects are left.
#include <gtest/gtest.h>

#include <cstdio>

#include "host/glue/LiveObjects.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    const long alive = dv::LiveObjects::Count();
    if (alive != 0) {
        std::fprintf(stderr, "LEAK: %ld counted objects are still alive at the end of the run\n", alive);
        return 1;
    }
    return result;
}

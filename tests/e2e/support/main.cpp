// Every test process gets a machine of its own before the first test.
#include "privatemachine.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests)) {
        try {
            e2e::enterPrivateMachine({E2E_BUILD_FOLDER, E2E_SOURCE_FOLDER});
        } catch (const std::exception& error) {
            std::fprintf(stderr, "these tests need mount and process namespaces of their own: %s\n",
                         error.what());
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}

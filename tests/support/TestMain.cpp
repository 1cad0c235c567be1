// ZELCONFIG_TEST_LOCALE names a locale to make global before the tests run,
// so that locale-sensitive tests can be re-run under it.
#include <cstdlib>
#include <locale>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (const char* name = std::getenv("ZELCONFIG_TEST_LOCALE")) {
        std::locale::global(std::locale(name)); // throws, failing the run, if unknown
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

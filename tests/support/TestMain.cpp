// ZELCONFIG_TEST_LOCALE names a locale to make global before the tests run,
// so that locale-sensitive tests can be re-run under it.
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <stdexcept>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (const char* name = std::getenv("ZELCONFIG_TEST_LOCALE")) {
        try {
            std::locale::global(std::locale(name));
        } catch (const std::runtime_error&) {
            std::fprintf(stderr, "locale %s is not installed (scripts/install-deps.sh installs it)\n",
                         name);
            return 1;
        }
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

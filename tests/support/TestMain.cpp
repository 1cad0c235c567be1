// Test entry point. ZELCONFIG_TEST_LOCALE names a locale to make global before
// any test runs, so that locale-sensitive tests can be re-run under it.
#include <clocale>
#include <cstdlib>
#include <iostream>
#include <locale>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (const char* name = std::getenv("ZELCONFIG_TEST_LOCALE")) {
        try {
            std::locale::global(std::locale(name));
        } catch (const std::exception& error) {
            std::cerr << "cannot use locale " << name << ": " << error.what() << "\n";
            return 1;
        }
        std::cout << "global locale: " << std::locale().name() << "\n";
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

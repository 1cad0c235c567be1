// The setters format numbers as a fresh stream does under the global C++
// locale; std::locale::global also sets the C locale, which the getters'
// strtod follows. Run under a locale with a decimal comma (see CMakeLists.txt).
#include <functional>
#include <locale>

#include <gtest/gtest.h>

#include "CZelConfigParser.h"
#include "TestFiles.h"

namespace {

TEST(DecimalCommaLocale, SettersAndGettersFollowIt)
{
    ASSERT_EQ(std::use_facet<std::numpunct<char>>(std::locale()).decimal_point(), ',')
        << "run with ZELCONFIG_TEST_LOCALE naming a locale with a decimal comma";
    TempDir dir;
    CZelConfigParser parser(dir.Write("a.cfg", "[V]\nk=0\n"));

    struct Row { std::function<int()> set; const char* text; };
    const Row rows[] = {
        {[&] { return parser.Set("V.k", 0.5); }, "0,5"},
        {[&] { return parser.Set("V.k", 2.25f); }, "2,25"},
        {[&] { return parser.Set("V.k", 1234567.0); }, "1,23457e+06"},
        {[&] { return parser.Set("V.k", 1234567); }, "1.234.567"}, // grouped too
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.set(), 0);
        EXPECT_EQ(parser.GetString("V.k"), row.text);
    }

    parser.Set("V.k", 0.5);
    EXPECT_EQ(parser.GetDouble("V.k"), 0.5) << "read back with the same decimal comma";
    EXPECT_EQ(parser.GetFloat("V.k"), 0.5f);
}

} // namespace

// The typed getters: conversions, statuses and messages, through a CFG file.
#include <cerrno>
#include <cmath>
#include <sstream>

#include <gtest/gtest.h>

#include "CZelConfigReader.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

// A reader over a one-entry file whose value is `raw`, read as V.k.
class OneValue
{
public:
    explicit OneValue(const std::string& raw) : m_reader(m_dir.Write("v.cfg", "[V]\nk=" + raw + "\n"))
    {
        capture_log::Reset(1u << 9);
    }
    CZelConfigReader& Reader() { return m_reader; }

private:
    TempDir m_dir;
    CZelConfigReader m_reader;
};

std::string ConversionLog(const char* function, const std::string& raw, const char* type, int error)
{
    return std::string("9 ") + function + ": Error converting string " + raw + " to " + type
           + ", errno=" + std::to_string(error) + "\n";
}

struct IntCase { const char* name; std::string raw; int value; int status; };
using IntTable = testing::TestWithParam<IntCase>;

TEST_P(IntTable, BothFormsConvertAlike)
{
    const IntCase& row = GetParam();
    OneValue file(row.raw);
    EXPECT_EQ(file.Reader().GetInt("V.k"), row.value);
    int value = 12345;
    EXPECT_EQ(file.Reader().GetInt("V.k", value), row.status);
    EXPECT_EQ(errno, row.status != 0 ? ERANGE : 0) << "left by the conversion, not by the logger";
    EXPECT_EQ(value, row.value) << "delivered with status 1 too";
    const std::string once = row.status != 0 ? ConversionLog("GetInt", row.raw, "int", ERANGE) : "";
    EXPECT_EQ(capture_log::Text(), once + once);
}

INSTANTIATE_TEST_SUITE_P(Texts, IntTable, testing::Values(
    IntCase{"HexLowerPrefix", "0x1A", 26, 0},
    IntCase{"HexUpperPrefix", "0X1a", 26, 0},
    IntCase{"BarePrefixIsDecimalZero", "0x", 0, 0},
    IntCase{"NoOctal", "010", 10, 0},
    IntCase{"TrailingTextIgnored", "12abc", 12, 0},
    IntCase{"LeadingBlankDefeatsHex", " 0x10", 0, 0},
    IntCase{"MinusOneWraps", "-1", -1, 0},
    IntCase{"AllOnesWraps", "0xffffffff", -1, 0},
    IntCase{"OverflowClampsAndReports", "4294967296", -1, 1},
    IntCase{"NegativeOverflowReports", "-4294967296", -1, 1},
    IntCase{"HexOverflowReports", "0x100000000", -1, 1},
    // A minus sign negates the magnitude read; only the magnitude can overflow.
    IntCase{"NegativeLargestMagnitude", "-4294967295", 1, 0},
    IntCase{"NegativeWrapsIntoPositive", "-2147483649", 2147483647, 0},
    IntCase{"NegativeZero", "-0", 0, 0},
    IntCase{"NegativeMagnitudeOf64Bits", "-18446744073709551615", -1, 1},
    IntCase{"NegativeMagnitudeBeyond32Bits", "-18446744069414584321", -1, 1},
    IntCase{"NegativeMagnitudeBeyond64Bits", "-18446744073709551616", -1, 1},
    IntCase{"MagnitudeOf64Bits", "18446744073709551615", -1, 1},
    IntCase{"ExponentStopsInteger", "1e3", 1, 0},
    IntCase{"NoNumberIsZero", "abc", 0, 0},
    IntCase{"CarriageReturnNotStripped", "7\r", 7, 0}),
    RowName());

struct RealCase { const char* name; std::string raw; double value; int floatStatus; int doubleStatus; };
using RealTable = testing::TestWithParam<RealCase>;

TEST_P(RealTable, FloatAndDoubleConvertAlike)
{
    const RealCase& row = GetParam();
    OneValue file(row.raw);
    float f = 1.5f;
    double d = 1.5;
    EXPECT_EQ(file.Reader().GetFloat("V.k", f), row.floatStatus);
    EXPECT_EQ(file.Reader().GetDouble("V.k", d), row.doubleStatus);
    EXPECT_EQ(f, file.Reader().GetFloat("V.k"));
    EXPECT_EQ(d, file.Reader().GetDouble("V.k"));
    EXPECT_EQ(d, row.value);
    if (std::isfinite(row.value) && row.floatStatus == 0) {
        EXPECT_EQ(f, static_cast<float>(row.value));
    }
    std::string log;
    for (int pass = 0; pass < 2; ++pass) { // two-argument forms, then one-argument forms
        log += row.floatStatus != 0 ? ConversionLog("GetFloat", row.raw, "float", ERANGE) : "";
        log += row.doubleStatus != 0 ? ConversionLog("GetDouble", row.raw, "double", ERANGE) : "";
    }
    const std::string text = capture_log::Text();
    EXPECT_EQ(text, log);
}

INSTANTIATE_TEST_SUITE_P(Texts, RealTable, testing::Values(
    RealCase{"Exponent", "1e3", 1000.0, 0, 0},
    RealCase{"TrailingTextIgnored", "3.5abc", 3.5, 0, 0},
    RealCase{"NoNumberIsZero", "abc", 0.0, 0, 0},
    RealCase{"TooBigForFloatOnly", "1e39", 1e39, 1, 0},
    RealCase{"TooBigForBoth", "1e999", HUGE_VAL, 1, 1}),
    RowName());

struct BoolCase { const char* name; std::string raw; unsigned one; int status; unsigned two; };
using BoolTable = testing::TestWithParam<BoolCase>;

TEST_P(BoolTable, TrueFalseAndEverythingElse)
{
    const BoolCase& row = GetParam();
    OneValue file(row.raw);
    EXPECT_EQ(file.Reader().GetBool("V.k"), row.one);
    unsigned value = 9;
    EXPECT_EQ(file.Reader().GetBool("V.k", value), row.status);
    EXPECT_EQ(value, row.two);
    EXPECT_EQ(capture_log::Text(), "") << "a text that is no boolean is not logged";
}

INSTANTIATE_TEST_SUITE_P(Texts, BoolTable, testing::Values(
    BoolCase{"UpperTrueWithCr", "TRUE\r", 1, 0, 1},
    BoolCase{"JoinedValuesEndInCrLf", "TRUE\r\nk=\r", 1, 0, 1},
    BoolCase{"MixedCaseFalse", "FaLsE", 0, 0, 0},
    BoolCase{"TrailingBlankIsNoBoolean", "True ", 0, -1, 9},
    BoolCase{"DigitIsNoBoolean", "1", 0, -1, 9},
    BoolCase{"EmptyIsNoBoolean", "", 0, -1, 9}),
    RowName());

TEST(Getters, StringsAreFormattedNumbersAreNot)
{
    OneValue file("abc\r\nk=\r"); // joined: "abc\r\n\r"
    std::string value;
    EXPECT_EQ(file.Reader().GetString("V.k"), "abc");
    EXPECT_EQ(file.Reader().GetString("V.k", value), 0);
    EXPECT_EQ(value, "abc");
    EXPECT_EQ(file.Reader().GetInt("V.k"), 0);
}

// Every getter on one key: the two-argument statuses, whether any output
// changed, then the one-argument results, as "int float double bool string".
std::string EveryGetter(CZelConfigReader& reader, const std::string& key)
{
    int i = 5;
    float f = 5;
    double d = 5;
    unsigned b = 5;
    std::string s = "keep";
    std::ostringstream out;
    out << reader.GetInt(key, i) << " " << reader.GetFloat(key, f) << " "
        << reader.GetDouble(key, d) << " " << reader.GetBool(key, b) << " "
        << reader.GetString(key, s)
        << (i == 5 && f == 5 && d == 5 && b == 5u && s == "keep" ? " untouched" : " changed")
        << " | " << reader.GetInt(key) << " " << reader.GetFloat(key) << " "
        << reader.GetDouble(key) << " " << reader.GetBool(key) << " '" << reader.GetString(key)
        << "'";
    return out.str();
}

TEST(Getters, FailuresLeaveOutputsAlone)
{
    OneValue file("1");
    EXPECT_EQ(EveryGetter(file.Reader(), "V.x"), "-2 -2 -2 -2 -2 untouched | 0 0 0 0 ''")
        << "the back end's status";
    EXPECT_EQ(EveryGetter(file.Reader(), ""), "7 7 7 7 7 untouched | 0 0 0 0 ''")
        << "the adaptor's empty-key check";

    CZelConfigReader noBackEnd;
    capture_log::Reset();
    EXPECT_EQ(EveryGetter(noBackEnd, "V.k"), "22 22 22 22 22 untouched | 0 0 0 0 ''");
    std::string log;
    for (const char* name : {"GetInt", "GetFloat", "GetDouble", "GetBool", "GetString"}) {
        log += std::string("9 ") + name + ": Config Reader (m_pReader) is NULL\n";
    }
    EXPECT_EQ(capture_log::Text(), log + log);
}

} // namespace

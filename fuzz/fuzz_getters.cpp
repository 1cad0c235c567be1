// The typed getters and FormatValue on any value. The value is stored
// through the writer side of one CZelConfigParser, so it may hold any byte,
// line feeds and NULs included, and is read back through the reader side.
#include <cstring>

#include "CZelConfigParser.h"
#include "FuzzSupport.h"

namespace {

const char kKey[] = "A.v";

CZelConfigParser& Config()
{
    static CZelConfigParser* config = [] {
        const std::string path = fuzz::ScratchPath("getters.cfg");
        fuzz::WriteFile(path, "[A]\nv=\n");
        return new CZelConfigParser(path); // lives as long as the process
    }();
    return *config;
}

bool SameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool SameBits(float a, float b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// What every getter reads for the value now stored.
struct Reading
{
    std::string text;
    unsigned int flag;
    int intValue, intStatus;
    float floatValue;
    int floatStatus;
    double doubleValue;
    int doubleStatus;
};

bool Converted(const char* type)
{
    return fuzz::Log().find(std::string(" to ") + type + ", errno=") != std::string::npos;
}

Reading Read(CZelConfigParser& config, const std::string& value)
{
    FUZZ_REQUIRE(config.Set(kKey, value) == 0, value);
    Reading r{};
    std::string text;
    FUZZ_REQUIRE(config.GetString(kKey, text) == 0, value);
    r.text = config.GetString(kKey);
    FUZZ_REQUIRE(text == r.text, value);

    r.flag = config.GetBool(kKey);
    unsigned int flag = 7;
    const int boolStatus = config.GetBool(kKey, flag);
    FUZZ_REQUIRE(r.flag <= 1, value);
    FUZZ_REQUIRE(boolStatus == 0 ? flag == r.flag : boolStatus == -1 && flag == 7 && r.flag == 0, value);

    // One- and two-argument forms convert alike; a status of 1 goes with the
    // conversion message, and 0 with none.
    fuzz::ResetLog();
    r.intValue = config.GetInt(kKey);
    const bool intLogged = Converted("int");
    fuzz::ResetLog();
    int i = 0;
    r.intStatus = config.GetInt(kKey, i);
    FUZZ_REQUIRE(i == r.intValue && (r.intStatus == 1) == intLogged && (r.intStatus == 1) == Converted("int")
                     && r.intStatus <= 1 && r.intStatus >= 0,
                 value);

    fuzz::ResetLog();
    r.floatValue = config.GetFloat(kKey);
    const bool floatLogged = Converted("float");
    fuzz::ResetLog();
    float f = 0;
    r.floatStatus = config.GetFloat(kKey, f);
    FUZZ_REQUIRE(SameBits(f, r.floatValue) && (r.floatStatus == 1) == floatLogged
                     && (r.floatStatus == 1) == Converted("float") && r.floatStatus >= 0 && r.floatStatus <= 1,
                 value);

    fuzz::ResetLog();
    r.doubleValue = config.GetDouble(kKey);
    const bool doubleLogged = Converted("double");
    fuzz::ResetLog();
    double d = 0;
    r.doubleStatus = config.GetDouble(kKey, d);
    FUZZ_REQUIRE(SameBits(d, r.doubleValue) && (r.doubleStatus == 1) == doubleLogged
                     && (r.doubleStatus == 1) == Converted("double") && r.doubleStatus >= 0
                     && r.doubleStatus <= 1,
                 value);
    return r;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string value(reinterpret_cast<const char*>(data), size);

    // FormatValue drops the line breaks at the end, and only those.
    const std::string formatted = CZelConfigReader::FormatValue(value);
    FUZZ_REQUIRE(value.compare(0, formatted.size(), formatted) == 0, value);
    FUZZ_REQUIRE(value.find_first_not_of("\r\n", formatted.size()) == std::string::npos, value);
    FUZZ_REQUIRE(formatted.empty() || (formatted.back() != '\r' && formatted.back() != '\n'), value);
    FUZZ_REQUIRE(CZelConfigReader::FormatValue(formatted) == formatted, value);

    CZelConfigParser& config = Config();
    const Reading plain = Read(config, value);
    FUZZ_REQUIRE(plain.text == formatted, value);

    // Line breaks after a value change no reading: the text and the boolean
    // lose them, and every number ends before them.
    const Reading broken = Read(config, value + "\r\n");
    FUZZ_REQUIRE(broken.text == plain.text && broken.flag == plain.flag, value);
    FUZZ_REQUIRE(broken.intValue == plain.intValue && broken.intStatus == plain.intStatus, value);
    FUZZ_REQUIRE(SameBits(broken.floatValue, plain.floatValue) && broken.floatStatus == plain.floatStatus, value);
    FUZZ_REQUIRE(SameBits(broken.doubleValue, plain.doubleValue) && broken.doubleStatus == plain.doubleStatus,
                 value);
    return 0;
}

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
        // Lives as long as the process.
        return new CZelConfigParser(fuzz::WriteScratch("getters.cfg", "[A]\nv=\n"));
    }();
    return *config;
}

template <class T>
bool SameBits(T a, T b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool Converted(const char* type)
{
    return capture_log::Text().find(std::string(" to ") + type + ", errno=") != std::string::npos;
}

// A number as both forms of its getter read it: they convert alike, and a
// status of 1 goes with the conversion message, 0 with none.
template <class T>
struct Number
{
    T value;
    int status;
    bool operator==(const Number& other) const { return SameBits(value, other.value) && status == other.status; }
};

template <class T, class One, class Two>
Number<T> ReadNumber(const char* type, const std::string& value, One one, Two two)
{
    capture_log::Reset();
    Number<T> number{one(), 0};
    const bool logged = Converted(type);
    capture_log::Reset();
    T second{};
    number.status = two(second);
    FUZZ_REQUIRE(SameBits(second, number.value) && (number.status == 0 || number.status == 1)
                     && (number.status == 1) == logged && logged == Converted(type),
                 value);
    return number;
}

// What every getter reads for the value now stored.
struct Reading
{
    std::string text;
    unsigned int flag;
    Number<int> i;
    Number<float> f;
    Number<double> d;
    bool operator==(const Reading& o) const
    {
        return text == o.text && flag == o.flag && i == o.i && f == o.f && d == o.d;
    }
};

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

    r.i = ReadNumber<int>("int", value, [&] { return config.GetInt(kKey); },
                          [&](int& out) { return config.GetInt(kKey, out); });
    r.f = ReadNumber<float>("float", value, [&] { return config.GetFloat(kKey); },
                            [&](float& out) { return config.GetFloat(kKey, out); });
    r.d = ReadNumber<double>("double", value, [&] { return config.GetDouble(kKey); },
                             [&](double& out) { return config.GetDouble(kKey, out); });
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
    FUZZ_REQUIRE(Read(config, value + "\r\n") == plain, value);
    return 0;
}

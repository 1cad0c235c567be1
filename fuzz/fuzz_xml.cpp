// The XML plug-in's document: parse, look up every key it lists and the
// input's lines, change every listed key, and render. An unchanged render is
// the input itself; a changed one parses again and reads exactly what the
// changed document read in memory.
#include <cerrno>

#include "FuzzSupport.h"
#include "XmlDocument.h"

using zelconfig::xml::XmlDocument;
using zelconfig::xml::XmlError;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    XmlDocument doc;
    XmlError error;
    const int loaded = doc.LoadBuffer(input.data(), input.size(), error);
    FUZZ_REQUIRE(loaded == 0 || loaded == -1, std::to_string(loaded));
    if (loaded != 0) {
        // A line and a column on no more lines and characters than there are bytes.
        FUZZ_REQUIRE(error.offset <= size && !error.description.empty() && error.line > 0 && error.column > 0
                         && error.line + error.column <= error.offset + 2,
                     error.description);
        return 0;
    }
    std::string rendered;
    FUZZ_REQUIRE(doc.Render(input, rendered) && rendered == input, "an unchanged render differs");

    std::vector<std::string> keys;
    doc.ForEach([&keys](const std::string& key, const std::string&) {
        if (keys.size() < 64) {
            keys.push_back(key);
        }
    });
    for (const std::string& line : Lines(input, 32)) {
        std::string value;
        const int found = doc.Find(line, value);
        FUZZ_REQUIRE(found == 0 || (found == -2 && value.empty()), line);
    }
    // Values that need escaping, blanks only, a CDATA end and line ends.
    const std::string values[] = {"", "  ", "a&b<c>\"d'e", "]]>", "x\r\ny\tz", "\n"};
    for (size_t i = 0; i < keys.size(); ++i) {
        std::string value;
        FUZZ_REQUIRE(doc.Find(keys[i], value) == 0, keys[i]);
        FUZZ_REQUIRE(doc.Set(keys[i], values[i % 6] + std::to_string(i % 3 == 0 ? i : 0)) == 0, keys[i]);
    }
    FUZZ_REQUIRE(doc.Set("x", std::string("\0", 1)) == 7, "a NUL byte is refused");
    FUZZ_REQUIRE(doc.Render(input, rendered), "a changed render fails");
    XmlDocument again;
    FUZZ_REQUIRE(again.LoadBuffer(rendered.data(), rendered.size(), error) == 0,
                 rendered + "\n" + error.description);
    for (const std::string& key : keys) {
        std::string before, after;
        FUZZ_REQUIRE(doc.Find(key, before) == 0 && again.Find(key, after) == 0 && before == after,
                     key + ": " + before + " | " + after + "\n" + rendered);
    }
    return 0;
}

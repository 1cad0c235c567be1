// Prints one value of a CFG file through zelconfig::Document: KEY=VALUE.
// Usage: document_get FILE KEY
#include <cstdio>
#include <string>

#include <ZelConfigDocument.h>

int main(int argc, char** argv)
{
    zelconfig::Document document;
    std::string value;
    if (argc != 3 || document.Load(argv[1]) != 0 || document.Get(argv[2], value) != 0) {
        return 1;
    }
    std::printf("%s=%s\n", argv[2], value.c_str());
    return 0;
}

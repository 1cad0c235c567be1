// Reads a CFG file, changes one value and saves the result to a second file,
// printing each step. Usage: edit_cfg SOURCE COPY [KEY [VALUE]]
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "CCFGParser.h"

int main(int argc, char** argv)
{
    if (argc < 3 || argc > 5) {
        std::cerr << "usage: edit_cfg SOURCE COPY [KEY [VALUE]]\n";
        return 2;
    }
    const std::string source = argv[1];
    const std::string copy = argv[2];
    const std::string key = argc > 3 ? argv[3] : "Net.Port";
    const std::string value = argc > 4 ? argv[4] : "8080";

    CCFGParser parser;
    const int parsed = parser.CFGParseFile(source);
    if (parsed != 0) {
        std::cerr << "edit_cfg: cannot read " << source << " (status " << parsed << ")\n";
        return 1;
    }
    std::cout << "read " << source << ": " << parser.m_pmCFGData->size() << " blocks\n";
    std::cout << key << " was \"" << parser.CFGGetData(key) << "\"\n";

    const int set = parser.CFGSetData(key, value);
    if (set != 0) {
        std::cerr << "edit_cfg: " << key << " is not in " << source << " (status " << set
                  << ")\n";
        return 1;
    }

    // Saving to another path creates the copy and leaves the source untouched.
    const int saved = parser.CFGSaveData(copy);
    if (saved != 0) {
        std::cerr << "edit_cfg: cannot write " << copy << " (status " << saved << ")\n";
        return 1;
    }

    CCFGParser check(copy);
    std::cout << "saved " << copy << ": " << key << " is now \"" << check.CFGGetData(key)
              << "\"\n--- " << copy << " ---\n"
              << std::ifstream(copy).rdbuf();
    return 0;
}

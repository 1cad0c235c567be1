// Copies a configuration file, changes one value in the copy through the
// format-independent front end and saves it, printing each step.
// Usage: edit_cfg SOURCE COPY [KEY [VALUE]]
#include <fstream>
#include <iostream>
#include <string>

#include "CZelConfigParser.h"
#include "CZelConfigReader.h"

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

    // The front end saves over the file it read: work on a copy.
    {
        std::ifstream in(source, std::ios::binary);
        std::ofstream out(copy, std::ios::binary | std::ios::trunc);
        if (!in || !(out << in.rdbuf())) {
            std::cerr << "edit_cfg: cannot copy " << source << " to " << copy << "\n";
            return 1;
        }
    }

    // The path picks the back end: ".cfg" is the CFG engine, ".xml" the XML plug-in.
    CZelConfigParser parser;
    const int parsed = parser.Parse(copy);
    if (parsed != 0) {
        std::cerr << "edit_cfg: cannot read " << copy << " (status " << parsed << ")\n";
        return 1;
    }
    std::cout << "read " << copy << ": " << key << " is \"" << parser.GetString(key) << "\"\n";

    const int set = parser.Set(key, value);
    if (set != 0) {
        std::cerr << "edit_cfg: cannot set " << key << " in " << copy << " (status " << set
                  << ")\n";
        return 1;
    }
    const int saved = parser.Save();
    if (saved != 0) {
        std::cerr << "edit_cfg: cannot write " << copy << " (status " << saved << ")\n";
        return 1;
    }

    // A fresh reader sees what was saved.
    CZelConfigReader check(copy);
    std::cout << "saved " << copy << ": " << key << " is now \"" << check.GetString(key)
              << "\"\n--- " << copy << " ---\n"
              << std::ifstream(copy).rdbuf();
    return 0;
}

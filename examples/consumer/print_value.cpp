// Prints one value of a configuration file: KEY=VALUE on stdout.
// Usage: print_value FILE KEY
#include <iostream>
#include <string>

#include <CZelConfigParser.h>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: print_value FILE KEY\n";
        return 2;
    }
    CZelConfigParser config;
    const int parsed = config.Parse(argv[1]);
    if (parsed != 0) {
        std::cerr << "print_value: cannot read " << argv[1] << " (status " << parsed << ")\n";
        return 1;
    }
    std::string value;
    const int found = config.GetString(argv[2], value);
    if (found != 0) {
        std::cerr << "print_value: no " << argv[2] << " in " << argv[1] << " (status " << found
                  << ")\n";
        return 1;
    }
    std::cout << argv[2] << '=' << value << '\n';
    return 0;
}

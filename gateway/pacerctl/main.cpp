#include "pacerctl/cli.h"

#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        return pacerctl::run(arguments, std::cout, std::cerr, ::isatty(STDOUT_FILENO) == 1);
    } catch (const std::exception& error) {
        std::cerr << "pacerctl: " << error.what() << '\n';
        return 2;
    }
}

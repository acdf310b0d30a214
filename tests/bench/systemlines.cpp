// Gives each line of a file to system(): what running command lines costs whoever has to run them that way.
#include <cstdlib>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
    std::ifstream file(argc == 2 ? argv[1] : "");
    for (std::string line; std::getline(file, line);) {
        if (std::system(line.c_str()) == -1) { // other statuses are right: existence checks find nothing
            return 1;
        }
    }
    return file.eof() ? 0 : 1;
}

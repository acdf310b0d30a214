#include "tools.h"

int main(int argc, char** argv) {
    const std::string path = argc > 0 ? argv[0] : "";
    const fapi::Words words(argv + (argc > 0 ? 1 : 0), argv + argc);
    return fapi::run(path.substr(path.rfind('/') + 1), words);
}

// printf-style formatting into a string.
#pragma once

#include <string>

std::string VAStr(const char* format, ...) __attribute__((format(printf, 1, 2)));

#include <zel/vastr.h>

#include <cstdarg>
#include <cstdio>

std::string VAStr(const char* format, ...) { // NOLINT(cert-dcl50-cpp): the format is checked by the compiler
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): version 14 passes over the va_start() above
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);

    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    // Writes the terminating zero onto the string's own.
    static_cast<void>(std::vsnprintf(text.data(), text.size() + 1, format, again));
    va_end(again);
    return text;
}

// Preloaded into a program: one allocation of its C++ code fails, the n-th after the number n has been
// written into /tmp/allocations. The file holds one long, and -1 or 0 for none.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

namespace {

long* const left = [] {
    const int file = open("/tmp/allocations", O_RDWR | O_CLOEXEC);
    void* const page = mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return page == MAP_FAILED ? nullptr : static_cast<long*>(page);
}();

} // namespace

void* operator new(std::size_t size) {
    void* const memory = left != nullptr && *left > 0 && --*left == 0 ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

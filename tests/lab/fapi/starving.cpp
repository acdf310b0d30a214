// Linked into the tools: an allocation of their C++ code fails. FAPI_STARVE: "12" only the twelfth, "12+"
// that one and all that follow.
#include <cstdlib>
#include <new>

namespace {

struct Plan {
    long left = 0; // allocations until one fails; 0: none does
    bool on = false;
};

Plan readPlan() {
    const char* chosen = std::getenv("FAPI_STARVE");
    if (chosen == nullptr) {
        return {};
    }
    char* end = nullptr;
    const long left = std::strtol(chosen, &end, 10);
    return {left, *end == '+'};
}

bool fails() {
    static Plan plan = readPlan();
    if (plan.left == 1 && plan.on) {
        return true;
    }
    return plan.left > 0 && --plan.left == 0;
}

} // namespace

void* operator new(std::size_t size) {
    void* const memory = fails() ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// As the standard library's own does. Sanitizers bring one along whose memory only their delete may free.
void* operator new(std::size_t size, const std::nothrow_t& /*none*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

// The same sequence from the same seed on every machine.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace e2e::model {

class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
    bool chance(unsigned percent) { return below(100) < percent; }

    template <typename T>
    T oneOf(std::initializer_list<T> choices) {
        return begin(choices)[below(static_cast<unsigned>(choices.size()))];
    }
    template <typename T>
    const T& oneOf(const std::vector<T>& choices) {
        return choices[below(static_cast<unsigned>(choices.size()))];
    }
    std::string text(std::initializer_list<const char*> choices) { return oneOf(choices); }

  private:
    std::mt19937 engine_;
};

} // namespace e2e::model

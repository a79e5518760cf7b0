// The only source of randomness in a run.
#ifndef TESTS_MODEL_DICE_H
#define TESTS_MODEL_DICE_H

#include <cstdint>
#include <random>
#include <vector>

namespace model {

class Dice {
public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}

    /// 0 to count - 1.
    std::size_t Below(std::size_t count) { return static_cast<std::size_t>(engine_() % count); }
    /// True in that many of a hundred cases.
    bool Percent(unsigned int chance) { return Below(100) < chance; }
    bool Coin() { return Percent(50); }

    template <class Value>
    const Value& Pick(const std::vector<Value>& values) {
        return values[Below(values.size())];
    }

private:
    std::mt19937_64 engine_;
};

}  // namespace model

#endif

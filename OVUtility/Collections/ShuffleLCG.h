// ShuffleLCG: a reproducible shuffle. A 32-bit linear congruential generator
// (multiplier 214013, increment 2531011, state kept in the low 31 bits,
// output bits 16-30) drives a descending Fisher-Yates shuffle, so the same
// seed and the same input always give the same permutation.
//
//   ov::ShuffleLCG lcg(1);
//   std::vector<int> order{0, 1, 2, 3, 4};
//   lcg.shuffle(order);                 // {2, 0, 4, 3, 1}
//   uint32_t replay = lcg.currentSeed(); // where that shuffle started
//   lcg.setInitialSeed(replay);          // ...to rebuild the same order later
//
// The running state is not reset between shuffles: a second shuffle continues
// the sequence. `currentSeed` only reports the state the most recent shuffle
// started from. Arrays of 2^32 elements or more are a fatal error.
// No locking: use an instance from one thread.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "OVUtility/Platform/Fatal.h"

namespace ov {

class ShuffleLCG {
  public:
    explicit ShuffleLCG(std::uint32_t initialSeed)
        : seed_(initialSeed), currentSeed_(initialSeed) {}
    ShuffleLCG() = delete;  // a seed is required

    void setInitialSeed(std::uint32_t newSeed) {
        seed_ = newSeed;
        currentSeed_ = newSeed;
    }
    std::uint32_t currentSeed() const { return currentSeed_; }
    // The running generator state (advanced by every step).
    std::uint32_t seed() const { return seed_; }

    // One generator step: a value in 0...32767.
    std::uint32_t next() {
        const std::uint32_t v = seed_ * MULTIPLIER + INCREMENT;  // wraps modulo 2^32
        seed_ = v & (MODULUS - 1);
        return (v & OUTPUT_MASK) >> 16;
    }

    template <typename E>
    void shuffle(std::span<E> array) {
        currentSeed_ = seed_;
        if (array.size() < 2) return;
        if (array.size() > std::numeric_limits<std::uint32_t>::max())
            ov::fatal("ShuffleLCG: array count does not fit in 32 bits");
        for (auto i = static_cast<std::uint32_t>(array.size()); i >= 2; --i) {
            const std::uint32_t j = next() % i;
            if (j != i - 1) std::swap(array[i - 1], array[j]);
        }
    }
    template <typename E>
    void shuffle(std::vector<E>& array) {
        shuffle(std::span<E>(array));
    }

  private:
    static constexpr std::uint32_t MULTIPLIER = 214013;
    static constexpr std::uint32_t INCREMENT = 2531011;
    static constexpr std::uint32_t MODULUS = 0x80000000u;
    static constexpr std::uint32_t OUTPUT_MASK = 0x7FFF0000u;

    std::uint32_t seed_;
    std::uint32_t currentSeed_;
};

}  // namespace ov

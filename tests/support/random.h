#pragma once

#include <cstdint>
#include <random>

namespace test {

/// The standard engine with results that are 32 bits wide on every platform.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  uint32_t operator()() { return static_cast<uint32_t>(engine_()); }

 private:
  std::mt19937 engine_;
};

} // namespace test

#include "fault_injection.h"

#include "gexton_host.h"

#include <array>
#include <atomic>
#include <cstring>
#include <mutex>

namespace gexton_sdk {
namespace {

/// The faults that have been ordered. [thread-safe]
class FaultPlan {
 public:
  bool armed() const { return armed_.load(std::memory_order_relaxed); }

  void fail_nth_call(uint64_t n) {
    const std::lock_guard lock(mutex_);
    calls_until_fault_ = n;
    update_armed();
  }

  void fail_function(const char* function, uint64_t n) {
    const std::lock_guard lock(mutex_);
    function_.fill('\0');
    if (function != nullptr)
      std::strncpy(function_.data(), function, function_.size() - 1);
    every_call_of_function_ = n == 0;
    function_calls_until_fault_ = n;
    update_armed();
  }

  /// Advances both countdowns by one call of `function`.
  bool take(const char* function) {
    const std::lock_guard lock(mutex_);
    const bool nth_call = reaches_zero(calls_until_fault_);
    const bool of_function = std::strcmp(function, function_.data()) == 0 && function_fault();
    update_armed();
    return nth_call || of_function;
  }

 private:
  static bool reaches_zero(uint64_t& countdown) { return countdown != 0 && --countdown == 0; }

  bool function_fault() {
    return every_call_of_function_ || reaches_zero(function_calls_until_fault_);
  }

  void update_armed() {
    const bool function_armed = every_call_of_function_ || function_calls_until_fault_ != 0;
    armed_.store(calls_until_fault_ != 0 || (function_[0] != '\0' && function_armed),
                 std::memory_order_relaxed);
  }

  std::atomic<bool> armed_{false}; // lets calls pass without the lock while nothing is ordered
  std::mutex mutex_;
  uint64_t calls_until_fault_ = 0; // 0: off, as below
  std::array<char, 128> function_{};
  bool every_call_of_function_ = false;
  uint64_t function_calls_until_fault_ = 0;
};

FaultPlan plan;
std::atomic<uint64_t> call_count{0};
std::atomic<uint64_t> fault_count{0};
std::atomic<const char*> last_fault{""};

} // namespace

bool fault_due(const char* function) noexcept {
  call_count.fetch_add(1, std::memory_order_relaxed);
  if (!plan.armed() || !plan.take(function))
    return false;
  fault_count.fetch_add(1, std::memory_order_relaxed);
  last_fault.store(function, std::memory_order_relaxed);
  return true;
}

} // namespace gexton_sdk

using namespace gexton_sdk;

void gexton_fail_nth_call(uint64_t n) {
  plan.fail_nth_call(n);
}

void gexton_fail_function(const char* function, uint64_t n) {
  plan.fail_function(function, n);
}

void gexton_clear_faults(void) {
  plan.fail_nth_call(0);
  plan.fail_function(nullptr, 0);
  call_count.store(0, std::memory_order_relaxed);
  fault_count.store(0, std::memory_order_relaxed);
}

uint64_t gexton_get_call_count(void) {
  return call_count.load(std::memory_order_relaxed);
}

uint64_t gexton_get_fault_count(void) {
  return fault_count.load(std::memory_order_relaxed);
}

const char* gexton_get_last_fault(void) {
  return gexton_sdk::last_fault.load(std::memory_order_relaxed);
}

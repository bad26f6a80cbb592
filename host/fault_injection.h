#pragma once

namespace gexton_sdk {

/// Counts a call of the gx_ function named `function` and says whether a fault was ordered for it.
/// Delivers that fault: the caller must fail. [thread-safe]
bool fault_due(const char* function) noexcept;

} // namespace gexton_sdk

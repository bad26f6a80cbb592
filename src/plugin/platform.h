#pragma once

// Everything that depends on the operating system: the library's load entry (which stands in the
// source alone) and the performance counter.
namespace filter_processor::platform {

/// Milliseconds of the high-resolution performance counter, from an arbitrary start. [thread-safe]
double performance_milliseconds();

} // namespace filter_processor::platform

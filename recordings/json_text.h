// JSON that people write by hand, with the place of what is wrong in it.
#pragma once

#include <span>

#include <nlohmann/json.hpp>

#include "recordings/result.h"

namespace recordings {

/// The error says line, column and what was expected there.
Result<nlohmann::json> parse_json(std::span<const uint8_t> text);

} // namespace recordings

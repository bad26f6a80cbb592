// tests/golden/digests.txt and tests/plugin/schemas.txt, compiled in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace golden {

/// "---- <filter>" and the filter's schema, one after the other.
extern const char* const schema_texts;

/// None for a case that is not in the table.
std::optional<uint64_t> expected_digest(const std::string& case_name);

/// As many as there are cases, if the table is whole.
size_t table_size();

} // namespace golden

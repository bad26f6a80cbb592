// Manual pages in the language of man(7).
#pragma once

#include <string>

#include "gxfilter/manual/described_option.h"

namespace manual {

/// Page and file of a command: "gxfilter-run".
std::string page_name(const CLI::App& command);

/// The program's page. `date` may be empty.
std::string program_page(const CLI::App& app, const std::string& date);
std::string command_page(const CLI::App& app, const CLI::App& command, const std::string& date);

} // namespace manual

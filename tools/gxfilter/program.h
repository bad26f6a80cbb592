// The whole program but for what nobody caught.
#pragma once

#include "gxfilter/report.h"

namespace gxfilter {

/// Does what the command line says and reports what fails. May throw what libraries throw.
ExitStatus run_program(int argc, char** argv);

} // namespace gxfilter

#pragma once

#include "options.hpp"

namespace cli {

/// Shows the library's main job, step by step, against a server inside the program.
///
/// @return `Done` when every step did what it says.
ExitStatus runDemo();

}  // namespace cli

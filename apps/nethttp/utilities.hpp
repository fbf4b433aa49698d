#pragma once

#include "options.hpp"

namespace cli {

/// Runs one of the commands that need no exchange.
ExitStatus runUtility(const Options& options);

}  // namespace cli

#pragma once

#include "options.hpp"

namespace cli {

/// Performs the request that the options describe, as often as they say.
ExitStatus performExchanges(const Options& options);

}  // namespace cli

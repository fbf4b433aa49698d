#pragma once

#include <string>

#include "options.hpp"

namespace cli {

/// Answers what is wrong with a URL, or nothing.
std::string wrongUrl(const std::string& url);

/// Answers which two options name one file, so that one would destroy what the other needs; or
/// nothing.
std::string clashOfFiles(const Options& options);

}  // namespace cli

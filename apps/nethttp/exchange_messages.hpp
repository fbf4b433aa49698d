#pragma once

#include <cstdint>
#include <string>

#include "options.hpp"
#include "report.hpp"

namespace cli {

/// Answers how messages call the target: the URL, or what the options put in its place.
std::string targetName(const Options& options);

/// Tells where the certificate bundle was looked for, if there is none.
void complainOfMissingBundle();

/// Writes the line by which scripts know a failed exchange.
void complainOfExchange(std::uint32_t code, const std::string& target);

/// Warns of a body without a length whose connection did not end in an orderly way: nobody can tell
/// whether it is whole.
void warnOfDoubtfulEnd(const ExchangeResult& result, const std::string& target);

}  // namespace cli

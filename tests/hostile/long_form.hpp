#pragma once

#include <cstdlib>
#include <string_view>

/// Answers the first number, or the second in the long form: NETHTTP_HOSTILE=long.
inline unsigned timesOf(unsigned shortForm, unsigned longForm) {
    const char* const form = std::getenv("NETHTTP_HOSTILE");  // NOLINT(concurrency-mt-unsafe)
    return form != nullptr && std::string_view(form) == "long" ? longForm : shortForm;
}

#pragma once

#include <cstddef>

#include "tests/support/host_faults.hpp"

// Between the calls that stand before the host's and what is known of their faults.
namespace HostFaults {

using FaultPoints::Treatment;
using FaultPoints::Way;

/// Counts the call and tells what becomes of it.
Treatment decide(Call call) noexcept;

/// Tells whether a failing call is to do its work first.
bool performsFirst(Call call, const Treatment& treatment) noexcept;

/// Sets errno as the treatment asks. @return -1.
int failure(const Treatment& treatment) noexcept;

/// Answers the size that a transfer may have.
std::size_t allowed(Call call, const Treatment& treatment, std::size_t size) noexcept;

/// A name with two addresses, or, without the second, with one of a foreign family; without a text
/// there is none.
struct Name {
    const char* text = nullptr;
    const char* first = nullptr;
    const char* second = nullptr;
};
const Name& knownName() noexcept;

/// Adds to the bytes that this process has mapped, or takes away.
void countMapped(std::ptrdiff_t bytes) noexcept;

}  // namespace HostFaults

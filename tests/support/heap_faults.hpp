#pragma once

#include "tests/support/fault_points.hpp"

/// The heap of this process, made by the test program itself: blocks are counted, and those that a
/// caller can do without may be refused. Link `nethttp_heap_faults` to get it.
namespace HeapFaults {

/// The calls that may answer null.
extern const FaultPoints::Kind TryAlloc;

/// Answers how many blocks are in use.
long liveBlocks() noexcept;

}  // namespace HeapFaults

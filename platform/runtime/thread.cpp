// Thread-local slots and one-time initialisation; sleeping is the host's.

#include "platform/runtime/thread.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

std::atomic<std::uint32_t> slotsReserved{0};
// Without a destructor: slots can be used to the very end of the thread.
thread_local std::array<std::optional<std::uint64_t>, ThdLocalData::MostSlots> slotValues;

}  // namespace

std::uint32_t ThdLocalData::res() noexcept {
    const std::uint32_t slot = slotsReserved.fetch_add(1);
    if (slot >= MostSlots) {
        std::fprintf(stderr, "out of thread-local slots\n");
        std::abort();
    }
    return slot;
}

void ThdLocalData::set(std::uint32_t slot, std::uint64_t value) noexcept {
    if (slot < MostSlots) {
        slotValues[slot] = value;
    }
}

bool ThdLocalData::get(std::uint32_t slot, std::uint64_t& value) noexcept {
    if (slot >= MostSlots || !slotValues[slot]) {
        return false;
    }
    value = *slotValues[slot];
    return true;
}

void InitCode::callOnceSlowly(OnceFlag& flag, void (*code)()) {
    unsigned seen = New;
    if (flag.state_.compare_exchange_strong(seen, Running, std::memory_order_acquire)) {
        code();
        flag.state_.store(Done, std::memory_order_release);
        flag.state_.notify_all();
        return;
    }
    while (seen != Done) {
        flag.state_.wait(seen, std::memory_order_acquire);
        seen = flag.state_.load(std::memory_order_acquire);
    }
}

#include "platform/runtime/thread.hpp"

#include <cstddef>
#include <optional>

#include "platform/runtime/containers.hpp"

namespace {

std::atomic<std::uint32_t> slotsReserved{0};
thread_local HeapVector<std::optional<std::uint64_t>> slotValues;

}  // namespace

std::uint32_t ThdLocalData::res() noexcept {
    return slotsReserved.fetch_add(1);
}

void ThdLocalData::set(std::uint32_t slot, std::uint64_t value) {
    if (slotValues.size() <= slot) {
        slotValues.resize(std::size_t{slot} + 1);
    }
    slotValues[slot] = value;
}

bool ThdLocalData::get(std::uint32_t slot, std::uint64_t& value) noexcept {
    if (slot >= slotValues.size() || !slotValues[slot]) {
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

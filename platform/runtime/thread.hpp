#pragma once

#include <atomic>
#include <cstdint>

#include "platform/runtime/export.hpp"

/// Values that every thread has for itself: a slot is the process's, its content the thread's and
/// gone with it.
///
/// @threads Any thread.
class VORNIK_EXPORT ThdLocalData {
public:
    static constexpr std::uint32_t MostSlots = 64;

    /// Reserves a slot for the life of the process; one more than there are ends it.
    static std::uint32_t res() noexcept;
    static void set(std::uint32_t slot, std::uint64_t value) noexcept;
    /// @return False, `value` unchanged, when this thread has stored nothing in the slot.
    [[nodiscard]] static bool get(std::uint32_t slot, std::uint64_t& value) noexcept;
};

/// Guards a piece of initialisation; a constant-initialised object of static life.
class OnceFlag {
    friend class InitCode;
    std::atomic<unsigned> state_{0};
};

/// One-time initialisation.
class VORNIK_EXPORT InitCode {
public:
    /// Runs `code` once in the life of `flag`: one caller runs it, concurrent callers wait until it
    /// is done, later callers return at once and see what it wrote. `code` must not use the same
    /// flag.
    static void _do_call_once(OnceFlag& flag, void (*code)()) {
        if (flag.state_.load(std::memory_order_acquire) != Done) {
            callOnceSlowly(flag, code);
        }
    }

private:
    enum State : unsigned { New, Running, Done };
    static void callOnceSlowly(OnceFlag& flag, void (*code)());
};

/// The calling thread.
class VORNIK_EXPORT Thd {
public:
    /// Pauses for at least `microseconds`, whatever signals arrive.
    static void sleep(std::uint64_t microseconds) noexcept;
};

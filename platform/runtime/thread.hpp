/// @file
/// Values of a thread, one-time initialisation, pauses.
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
    static constexpr std::uint32_t MostSlots = 64;  ///< Of a process, whoever reserves them.

    /// Reserves a slot for the life of the process; one more than there are ends it.
    ///
    /// @return The slot, empty on every thread.
    static std::uint32_t res() noexcept;
    /// Stores a value for the calling thread. It owns nothing: what the value refers to is the
    /// caller's to free.
    ///
    /// @param slot   Of `res`; any other is ignored.
    /// @param value  Any number.
    static void set(std::uint32_t slot, std::uint64_t value) noexcept;
    /// Reads what the calling thread has stored.
    ///
    /// @param slot   Of `res`.
    /// @param value  Takes the number.
    /// @return False, `value` unchanged, when this thread has stored nothing in the slot.
    [[nodiscard]] static bool get(std::uint32_t slot, std::uint64_t& value) noexcept;
};

/// Guards a piece of initialisation; a constant-initialised object of static life.
class OnceFlag {
    friend class InitCode;
    std::atomic<unsigned> state_{0};
};

/// One-time initialisation.
///
/// @threads Any thread.
class VORNIK_EXPORT InitCode {
public:
    /// Runs `code` once in the life of `flag`: one caller runs it, concurrent callers wait until it
    /// is done, later callers return at once and see what it wrote.
    ///
    /// @param flag  Names the piece of initialisation.
    /// @param code  Must neither use the same flag nor throw.
    /// @blocks While another thread runs `code`.
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
///
/// @threads Any thread.
class VORNIK_EXPORT Thd {
public:
    /// Pauses, whatever signals arrive.
    ///
    /// @param microseconds  For how long at least.
    /// @blocks For that time.
    static void sleep(std::uint64_t microseconds) noexcept;
};

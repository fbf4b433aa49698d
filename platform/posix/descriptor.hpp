#pragma once

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/runtime/error.hpp"

/// What the units of this binding share: error numbers, interruptions, descriptors.
namespace Host {

/// Sets the thread's error code from errno.
inline void setErrorFromErrno() noexcept {
    Error::set(ErrHostBase + static_cast<std::uint32_t>(errno));
}

/// Repeats a system call as long as a signal interrupts it.
template <class Call>
auto withoutInterruption(Call call) noexcept {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() noexcept = default;
    /// Takes a descriptor over; numbers 0 to 2 are moved higher, so that no text meant for a
    /// standard stream ever enters it in a program that closed those. Negative: none, errno is
    /// kept.
    explicit Descriptor(int number) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor();

    [[nodiscard]] int number() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }

private:
    int number_ = -1;
};

}  // namespace Host

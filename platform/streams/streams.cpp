// What a stream answers that does not override an operation.

#include "platform/streams/streams.hpp"

#include "platform/runtime/error.hpp"

namespace Interfaces {

std::int64_t Stream::read(TransferBuffer, std::uint64_t, std::uint32_t) {
    Error::set(ErrNotSupported);
    return 0;
}

std::int64_t Stream::write(TransferBuffer, std::uint64_t, std::uint32_t) {
    Error::set(ErrNotSupported);
    return 0;
}

Mapping Stream::map(const Ref<SharedMemory>&) {
    Error::set(ErrNotSupported);
    return {};
}

void Stream::unmap(const Mapping&) {}

std::uint64_t Stripe::elementSize() {
    return 1;
}

}  // namespace Interfaces

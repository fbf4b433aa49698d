// File descriptors with an owner.

#include "platform/posix/descriptor.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace Host {

Descriptor::Descriptor(int number) noexcept : number_(number) {
    if (number < 0 || number > STDERR_FILENO) {
        return;
    }
    number_ = fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(number);
    errno = error;
}

Descriptor::~Descriptor() {
    if (number_ >= 0) {
        close(number_);  // never repeated: Linux has given the number back even when a signal
                         // interrupts
    }
}

}  // namespace Host

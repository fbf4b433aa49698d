// The program's own dealings with the operating system, as far as they are nothing more: partial
// files, signals and the demonstration's server have files of their own.

#include "host.hpp"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli::host {

void prepareProcess() {
    constexpr int refusing[] = {O_WRONLY, O_RDONLY, O_RDWR};  // of the descriptors 0, 1 and 2
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            // The lowest free number is taken, and that is this one.
            (void)::open("/dev/null", refusing[descriptor]);
        }
    }
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGXFSZ, SIG_IGN);
}

bool standardOutputIsOpen() {
    const int flags = ::fcntl(STDOUT_FILENO, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

bool isTerminal(int descriptor) {
    return ::isatty(descriptor) != 0;
}

bool isTerminal(const std::string& path) {
    struct stat facts {};
    // Opening may have effects; those of a character device are harmless.
    if (::stat(path.c_str(), &facts) != 0 || !S_ISCHR(facts.st_mode)) {
        return false;
    }
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const bool terminal = isTerminal(descriptor);
    (void)::close(descriptor);
    return terminal;
}

bool isRegularFile(const std::string& path) {
    struct stat facts {};
    return ::stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

bool isPipeOrDevice(const std::string& path) {
    struct stat facts {};
    return ::stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode) && !S_ISDIR(facts.st_mode);
}

int openForReading(const std::string& path) {
    int descriptor = -1;
    do {
        descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

void close(int descriptor) {
    (void)::close(descriptor);
}

std::string makeTemporaryFolder() {
    const char* const base =
        std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): one thread yet
    std::string path = std::string(base != nullptr ? base : "/tmp") + "/nethttp-XXXXXX";
    return ::mkdtemp(path.data()) != nullptr ? path : std::string();
}

unsigned columns() {
    winsize size{};
    const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return known ? size.ws_col : 80;
}

}  // namespace cli::host

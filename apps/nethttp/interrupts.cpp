// Signals as events: a thread waits for them, so that nothing runs in a handler.

#include "interrupts.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "options.hpp"

namespace cli {

namespace {

/// An exchange asks whether to go on with every piece that arrives; one that waits for its peer does
/// not, and nobody wants to wait for it.
constexpr int patience = 300;  // milliseconds

/// What `nohup` and a shell's background jobs ignore stays ignored.
sigset_t watchedSignals() {
    sigset_t set;
    (void)::sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            (void)::sigaddset(&set, signal);
        }
    }
    return set;
}

}  // namespace

Interrupts::Interrupts(std::function<void()> giveUp) : giveUp_(std::move(giveUp)) {
    const sigset_t set = watchedSignals();
    sigset_t before;
    (void)::pthread_sigmask(SIG_BLOCK, &set, &before);
    signals_ = ::signalfd(-1, &set, SFD_CLOEXEC);
    settled_ = ::eventfd(0, EFD_CLOEXEC);
    try {
        if (signals_ >= 0 && settled_ >= 0) {
            watcher_ = std::thread([this] { watch(); });
            return;
        }
    } catch (const std::system_error&) {  // no thread to be had
    }
    // Then a signal ends the program as it ends any other.
    (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Interrupts::~Interrupts() {
    settle();
    for (const int descriptor : {signals_, settled_}) {
        if (descriptor >= 0) {
            (void)::close(descriptor);
        }
    }
}

void Interrupts::settle() {
    if (watcher_.joinable()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t told = ::write(settled_, &one, sizeof one);
        watcher_.join();
    }
}

Interrupts::Event Interrupts::wait(int milliseconds) const {
    std::array<pollfd, 2> entries = {pollfd{settled_, POLLIN, 0}, pollfd{signals_, POLLIN, 0}};
    int count = 0;
    do {
        count = ::poll(entries.data(), entries.size(), milliseconds);
    } while (count < 0 && errno == EINTR);
    if (entries[0].revents != 0) {
        return Event::Settled;
    }
    return count > 0 ? Event::Signal : Event::Timeout;
}

void Interrupts::watch() {
    signalfd_siginfo info{};
    if (wait(-1) == Event::Settled || ::read(signals_, &info, sizeof info) != sizeof info) {
        return;
    }
    signal_ = static_cast<int>(info.ssi_signo);
    if (wait(patience) != Event::Settled) {
        giveUp_();
        ::_exit(StatusOfSignal + signal_);
    }
}

}  // namespace cli

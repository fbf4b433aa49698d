#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace cli {

/// Takes the signals by which a user ends a program (SIGINT, SIGTERM, SIGHUP), unless they were
/// ignored from the start, so that the program can end in an orderly way. One for the whole process,
/// which it leaves with these signals blocked; to be made before the program's other threads.
class Interrupts {
public:
    /// @param giveUp  Called on a thread of its own before the process ends at once: when a signal
    ///                did not make the program `settle` shortly, or a second one came.
    explicit Interrupts(std::function<void()> giveUp);
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;
    ~Interrupts();

    /// Answers the signal that came, 0 for none.
    ///
    /// @threads Any.
    [[nodiscard]] int signal() const noexcept { return signal_; }
    /// To be called when nothing is left that takes long: after it, `giveUp` is not called.
    void settle();

private:
    enum class Event { Signal, Settled, Timeout };

    void watch();
    [[nodiscard]] Event wait(int milliseconds) const;

    std::function<void()> giveUp_;
    int signals_ = -1;
    int settled_ = -1;
    std::atomic<int> signal_ = 0;
    std::thread watcher_;
};

}  // namespace cli

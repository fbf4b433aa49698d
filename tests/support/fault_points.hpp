#pragma once

#include <array>
#include <cstddef>

/// Numbers the calls of a thread that can go wrong, and lets one of them do so.
///
/// The functions that stand before the real ones ask `next` what is to become of each call. What
/// they ask works at any time: before main, and while a thread ends.
namespace FaultPoints {

enum class Way {
    Normal,
    Fails,         ///< With `Treatment::error`.
    FailsFromNow,  ///< The same, and so does every later call of its kind.
    Interrupted,   ///< By a signal.
    WouldBlock,    ///< Once: the call would have to wait.
    MovesLess,     ///< One byte only.
    Ends,          ///< As if nothing more came: 0 is the answer.
};

struct Treatment {
    Way way = Way::Normal;
    int error = 0;

    [[nodiscard]] bool fails() const noexcept {
        return way == Way::Fails || way == Way::FailsFromNow;
    }
};

/// A kind of call, and how it can go wrong.
struct Kind {
    const char* name;
    std::array<int, 12> errors;  ///< As many as are not 0.
    bool isInterrupted = false;
    bool wouldBlock = false;
    bool movesLess = false;
    bool ends = false;
};

/// How many of a call's errors are tried.
enum class Depth {
    One,  ///< Another one for each call, and one that lasts.
    All,  ///< All of them, each once and lasting.
};

/// One call of one run. A thread that has called `begin` counts its calls from there on, until it
/// has ended; the call with this point's number is treated in this point's way.
class Point {
public:
    /// @param number  From 1. @param variant  From 0: which of the ways that the call knows.
    Point(unsigned number, unsigned variant, Depth depth)
        : number_(number), variant_(variant), depth_(depth) {}
    Point(const Point&) = delete;
    Point& operator=(const Point&) = delete;
    ~Point() = default;

    /// Counts from here on, on this thread. The point must outlive the thread.
    void begin() noexcept;
    /// Looks at the calls of one kind alone.
    void only(const Kind& kind) noexcept { only_ = &kind; }
    /// Passes over the calls of a kind.
    void except(const Kind& kind) noexcept { except_ = &kind; }

    /// Answers the kind of the call that was treated, null when none was reached.
    [[nodiscard]] const Kind* kind() const noexcept { return kind_; }
    [[nodiscard]] const Treatment& treatment() const noexcept { return treatment_; }
    /// Answers how many variants the call knows; 0 when it was not reached.
    [[nodiscard]] unsigned variants() const noexcept;

    Treatment visit(const Kind& kind) noexcept;

private:
    [[nodiscard]] Treatment choose(const Kind& kind) const noexcept;

    unsigned number_;
    unsigned variant_;
    Depth depth_;
    unsigned calls_ = 0;
    const Kind* only_ = nullptr;
    const Kind* except_ = nullptr;
    const Kind* kind_ = nullptr;
    Treatment treatment_;
};

/// Answers what becomes of this call, and counts it.
Treatment next(const Kind& kind) noexcept;

/// Tells whether everything is tried at every call: the environment variable `NETHTTP_FAULTS` is
/// "all".
bool isThorough();

/// Tells whether this thread counts its calls.
bool isCounting() noexcept;

}  // namespace FaultPoints

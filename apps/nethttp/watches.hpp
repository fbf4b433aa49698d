#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "platform/runtime/object.hpp"

#include "interrupts.hpp"
#include "progress_bar.hpp"
#include <net/http/http.hpp>

namespace cli {

/// Hands the fractions of one direction to the bar and keeps them for the report.
class ProgressWatch final : public Object,
                            public Libraries::Networks::HTTP::Client::ProgressCallback {
public:
    ProgressWatch(ProgressBar& bar, ProgressBar::Phase phase, bool keeps)
        : bar_(bar), phase_(phase), keeps_(keeps) {}

    void progress(double fraction) override {
        if (keeps_) {
            fractions_.push_back(fraction);
        }
        bar_.update(phase_, fraction);
    }
    std::vector<double> takeFractions() { return std::exchange(fractions_, {}); }

private:
    ProgressBar& bar_;
    ProgressBar::Phase phase_;
    bool keeps_;
    std::vector<double> fractions_;
};

/// Answers "cancel" from its nth call on, over all exchanges, and once a signal has come.
class CancelWatch final : public Object, public Libraries::Networks::HTTP::Client::CancelQuery {
public:
    CancelWatch(std::optional<std::uint64_t> cancelFrom, const Interrupts& interrupts)
        : cancelFrom_(cancelFrom), interrupts_(interrupts) {}

    void invoke(Values& result, std::uint64_t, const Values&) override {
        ++calls_;
        const bool cancels = interrupts_.signal() != 0 || (cancelFrom_ && calls_ >= *cancelFrom_);
        result.push_back({Value::Boolean, cancels ? 1U : 0U});
    }
    /// Answers how often it was asked since the last call; nothing of it unless there is a number
    /// from which on it cancels.
    std::uint64_t takeCalls() {
        const std::uint64_t calls = calls_ - std::exchange(callsTaken_, calls_);
        return cancelFrom_ ? calls : 0;
    }

private:
    std::optional<std::uint64_t> cancelFrom_;
    const Interrupts& interrupts_;
    std::uint64_t calls_ = 0;
    std::uint64_t callsTaken_ = 0;
};

}  // namespace cli

#include "tests/load/crew.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Load {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t MostExamples = 12;

}  // namespace

Crew::Crew(unsigned threads, const Ports& ports) : ports_(ports), gate_(threads + 1) {
    for (unsigned i = 0; i < threads; ++i) {
        threads_.emplace_back([this] { work(); });
    }
}

Crew::~Crew() {
    over_ = true;
    gate_.arrive_and_wait();
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

Tally Crew::round(std::uint64_t exchanges, const Forgives& forgives) {
    tally_.right.assign(kinds().size(), 0);
    tally_.other.assign(kinds().size(), 0);
    forgives_ = forgives;
    next_ = end_;
    end_ += exchanges;
    gate_.arrive_and_wait();
    gate_.arrive_and_wait();
    return std::exchange(tally_, {});
}

void Crew::work() {
    for (;;) {
        gate_.arrive_and_wait();
        if (over_) {
            return;
        }
        for (std::uint64_t number = next_++; number < end_; number = next_++) {
            one(number);
        }
        gate_.arrive_and_wait();
    }
}

void Crew::one(std::uint64_t number) {
    const std::size_t which = kindOf(number);
    const Kind& kind = kinds()[which];
    const Clock::time_point began = Clock::now();
    const Outcome outcome = perform(kind, number, ports_);
    const std::chrono::duration<double> taken = Clock::now() - began;
    const bool forgiven = !outcome.right && forgives_ && forgives_(kind, outcome.what);
    const std::lock_guard lock(mutex_);
    tally_.slowest = std::max(tally_.slowest, taken.count());
    if (outcome.right) {
        ++tally_.right[which];
        return;
    }
    ++(forgiven ? tally_.other[which] : tally_.wrong);
    std::string example = std::string(kind.name) + ": " + outcome.what;
    if (tally_.examples.size() < MostExamples &&
        std::find(tally_.examples.begin(), tally_.examples.end(), example) ==
            tally_.examples.end()) {
        tally_.examples.push_back(std::move(example));
    }
}

}  // namespace Load

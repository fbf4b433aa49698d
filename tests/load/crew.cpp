#include "tests/load/crew.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Load {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t MostExamples = 6;

}  // namespace

Crew::Crew(unsigned threads, const Ports& ports)
    : ports_(ports), count_(threads), gate_(threads + 1) {
    for (unsigned i = 0; i < threads; ++i) {
        threads_.emplace_back([this, i] { work(i); });
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
    begin_ = end_;
    end_ += exchanges;
    gate_.arrive_and_wait();
    gate_.arrive_and_wait();
    return std::exchange(tally_, {});
}

void Crew::work(std::uint64_t place) {
    for (;;) {
        gate_.arrive_and_wait();
        if (over_) {
            return;
        }
        const std::uint64_t exchanges = end_ - begin_;
        const std::uint64_t last = begin_ + exchanges * (place + 1) / count_;
        for (std::uint64_t number = begin_ + exchanges * place / count_; number < last; ++number) {
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

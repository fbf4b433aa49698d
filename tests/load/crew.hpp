#pragma once

#include <array>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/load/kinds.hpp"

namespace Load {

/// What a round came to.
struct Tally {
    std::vector<std::uint64_t> right;  ///< By kind.
    std::vector<std::uint64_t> other;  ///< By kind: what the round forgives.
    std::uint64_t wrong = 0;
    std::vector<std::string> examples;  ///< Of what was forgiven or wrong; the first few.
    double slowest = 0;                 ///< Seconds of the longest exchange.
};

/// Threads that perform exchanges round by round, and stand still between: then memory and
/// descriptors can be compared.
class Crew {
public:
    /// Tells whether an outcome that is not the kind's own is one that the round may bring.
    using Forgives = std::function<bool(const Kind& kind, const std::string& what)>;

    Crew(unsigned threads, const Ports& ports);
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;
    ~Crew();

    /// Performs so many exchanges, and waits for the last of them. Each thread has an equal part, in a
    /// row: from 100 on it meets every kind.
    Tally round(std::uint64_t exchanges, const Forgives& forgives);

private:
    void work(std::uint64_t place);
    void one(std::uint64_t number);

    const Ports& ports_;
    const unsigned count_;
    std::barrier<> gate_;  // passed by all at the begin and at the end of a round
    bool over_ = false;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
    Forgives forgives_;
    std::mutex mutex_;
    Tally tally_;
    std::vector<std::thread> threads_;  // last: they use all of the above
};

}  // namespace Load

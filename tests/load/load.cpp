// Load: exchanges of many kinds on many threads at once, against real servers that run already.
//
//   load EXCHANGES THREADS HTTP-PORTS HTTPS-PORTS OTHER-NAME-PORT [WORD...]
//
// Ports of a list are separated by commas; kinds.cpp tells what the servers have to answer. Words:
// "own-network": the range of ports is the program's to shorten; "unmeasured": memory has no bound,
// as under sanitizers. The exit status is 0 when every exchange came to what its kind promises, and
// neither memory nor descriptors grew.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/load/crew.hpp"
#include "tests/load/kinds.hpp"
#include "tests/support/host.hpp"

namespace {

using Load::Crew;
using Load::Kind;
using Load::Ports;
using Load::Tally;

// What is in use varies with what OpenSSL keeps in passing, what is resident with the gaps between.
constexpr long MostHeapGrowth = 64L << 10;
constexpr long MostGrowth = 12L << 20;
constexpr std::uint64_t LeastShort = 1000;  // exchanges, so that something does run short
constexpr const char* PortRange = "/proc/sys/net/ipv4/ip_local_port_range";

struct Options {
    std::uint64_t exchanges = 0;
    unsigned threads = 0;
    Ports ports;
    bool ownNetwork = false;
    bool measured = true;
};

struct Size {
    long memory = 0;  // resident bytes
    long heap = 0;    // bytes in use
    std::size_t descriptors = 0;
};

std::vector<std::uint16_t> portsOf(const std::string& list) {
    std::vector<std::uint16_t> ports;
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');) {
        ports.push_back(static_cast<std::uint16_t>(std::stoul(word)));
    }
    return ports;
}

Size measure() {
    std::ifstream file("/proc/self/statm");
    long all = 0;
    long resident = 0;
    file >> all >> resident;
    const struct mallinfo2 heap = mallinfo2();
    return {resident * sysconf(_SC_PAGESIZE), static_cast<long>(heap.uordblks + heap.hblkhd),
            openDescriptors()};
}

std::uint64_t sum(const std::vector<std::uint64_t>& counts) {
    std::uint64_t all = 0;
    for (const std::uint64_t count : counts) {
        all += count;
    }
    return all;
}

double mebibytes(long bytes) {
    return static_cast<double>(bytes) / (1 << 20);
}

/// Leaves so many descriptors to all threads together, as long as it lives.
class FewDescriptors {
public:
    explicit FewDescriptors(std::size_t left) {
        (void)getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit few = {openDescriptors() + left, before_.rlim_max};
        (void)setrlimit(RLIMIT_NOFILE, &few);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors() { (void)setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_ = {};
};

/// Leaves two ports for the connections to a server, as long as it lives.
class FewPorts {
public:
    FewPorts() {
        std::getline(std::ifstream(PortRange), before_);
        std::ofstream(PortRange) << "40000 40001\n";
    }
    FewPorts(const FewPorts&) = delete;
    FewPorts& operator=(const FewPorts&) = delete;
    ~FewPorts() { std::ofstream(PortRange) << before_ << '\n'; }

private:
    std::string before_;
};

/// What an exchange may come to that gets no descriptor: no socket, or no bundle to verify by.
bool isForWantOfDescriptors(const Kind& kind, const std::string& what) {
    return what.find("\"Failed to create socket; error: 20018h (131096)\"") != std::string::npos ||
           (kind.place == Load::Place::Https &&
            what.find("\"Certificate error: ") != std::string::npos);
}

bool isForWantOfPorts(const Kind&, const std::string& what) {
    return what.find("\"Failed to connect socket to ") != std::string::npos &&
           what.find("; error: 20063h (131171)\"") != std::string::npos;
}

/// Runs the rounds, and keeps account of them.
class Run {
public:
    explicit Run(const Options& options)
        : options_(options), crew_(options.threads, options_.ports), right_(Load::kinds().size()) {}

    bool go();

private:
    void round(const char* name, std::uint64_t exchanges, const Crew::Forgives& forgives = {});
    void compare(const Size& before);
    void printKinds() const;
    void fail(const std::string& what) {
        std::cout << "FAILED: " << what << '\n';
        failed_ = true;
    }

    const Options& options_;
    Crew crew_;
    std::vector<std::uint64_t> right_;
    Size size_;
    bool failed_ = false;
};

void Run::round(const char* name, std::uint64_t exchanges, const Crew::Forgives& forgives) {
    const auto began = std::chrono::steady_clock::now();
    const Tally tally = crew_.round(exchanges, forgives);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - began;
    size_ = measure();
    const std::uint64_t other = sum(tally.other);
    std::printf(
        "%-18s %8ju exchanges, %7.1f s, %6.0f a second, slowest %5.2f s; %ju unserved; "
        "%.1f MiB, heap %.2f MiB, %zu descriptors\n",
        name, static_cast<std::uintmax_t>(exchanges), taken.count(),
        static_cast<double>(exchanges) / taken.count(), tally.slowest,
        static_cast<std::uintmax_t>(other), mebibytes(size_.memory), mebibytes(size_.heap),
        size_.descriptors);
    (void)std::fflush(stdout);
    for (std::size_t kind = 0; kind < right_.size(); ++kind) {
        right_[kind] += tally.right[kind];
    }
    if (tally.wrong != 0) {
        fail(std::to_string(tally.wrong) + " came to something else");
    }
    if (forgives && other == 0) {
        fail("nothing ran short");
    }
    for (const std::string& example : tally.examples) {
        std::cout << "    " << example << '\n';
    }
}

void Run::compare(const Size& before) {
    const long heap = size_.heap - before.heap;
    const long memory = size_.memory - before.memory;
    std::printf("since the warm-up: heap %+ld bytes, memory %+.1f MiB\n", heap, mebibytes(memory));
    if (options_.measured && (heap > MostHeapGrowth || memory > MostGrowth)) {
        fail("memory grew");
    }
    if (size_.descriptors > before.descriptors) {
        fail("descriptors are left open");
    }
}

void Run::printKinds() const {
    for (std::size_t kind = 0; kind < right_.size(); ++kind) {
        std::printf("%10ju %s\n", static_cast<std::uintmax_t>(right_[kind]),
                    Load::kinds()[kind].name);
    }
    rusage used = {};
    (void)getrusage(RUSAGE_SELF, &used);
    std::printf("%10ju in all; %jd s of CPU time, %jd s of it in the kernel\n",
                static_cast<std::uintmax_t>(sum(right_)),
                static_cast<std::intmax_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec),
                static_cast<std::intmax_t>(used.ru_stime.tv_sec));
}

bool Run::go() {
    const std::uint64_t part = options_.exchanges / 10;
    round("warm-up", std::max<std::uint64_t>(part, 100UL * options_.threads));
    const Size warm = size_;
    const std::uint64_t enough = std::max<std::uint64_t>(part, LeastShort);
    {
        const FewDescriptors few(options_.threads / 4);
        round("few descriptors", enough, isForWantOfDescriptors);
    }
    if (options_.ownNetwork) {
        const FewPorts few;
        round("few ports", enough, isForWantOfPorts);
    }
    for (unsigned i = 1; i < 10; ++i) {
        round("all at hand", part);
    }
    compare(warm);
    printKinds();
    return !failed_;
}

std::optional<Options> read(std::span<char*> arguments) {
    if (arguments.size() < 6) {
        return std::nullopt;
    }
    Options options;
    options.exchanges = std::stoull(arguments[1]);
    options.threads = static_cast<unsigned>(std::stoul(arguments[2]));
    options.ports = {portsOf(arguments[3]), portsOf(arguments[4]), portsOf(arguments[5]).front(),
                     0};
    for (const std::string_view word : arguments.subspan(6)) {
        options.ownNetwork = options.ownNetwork || word == "own-network";
        options.measured = options.measured && word != "unmeasured";
    }
    return options;
}

}  // namespace

int main(int count, char** arguments) {
    std::optional<Options> options = read({arguments, static_cast<std::size_t>(count)});
    if (!options) {
        std::cerr << "usage: load EXCHANGES THREADS HTTP-PORTS HTTPS-PORTS OTHER-NAME-PORT "
                     "[own-network] [unmeasured]\n";
        return 2;
    }
    const LoopbackListener taken(-1);
    options->ports.refused = taken.port();
    Load::watchRecords();
    return Run(*options).go() ? 0 : 1;
}

#include "tests/faults/walk.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <optional>
#include <set>
#include <sstream>
#include <thread>

#include "tests/support/heap_faults.hpp"
#include "tests/support/host_faults.hpp"

namespace FaultWalk {
namespace {

constexpr auto Limit = std::chrono::seconds(30);  // of one run: twice the longest limit within
constexpr unsigned MostFaults = 10;               // reported of one walk

const char* nameOf(Way way) {
    switch (way) {
        case Way::Normal:
            return "is well";
        case Way::Fails:
            return "fails";
        case Way::FailsFromNow:
            return "fails from now on";
        case Way::Interrupted:
            return "is interrupted";
        case Way::WouldBlock:
            return "would block";
        case Way::MovesLess:
            return "moves less";
        case Way::Ends:
            break;
    }
    return "ends";
}

std::string describe(const Scenario& scenario, unsigned number, const Point& point) {
    std::ostringstream text;
    text << scenario.name << ", call " << number;
    if (point.kind() != nullptr) {
        text << ": " << point.kind()->name << " " << nameOf(point.treatment().way);
        if (point.treatment().fails()) {
            text << " with " << point.treatment().error;
        }
    }
    return text.str();
}

/// The kinds that went wrong in this program so far.
std::set<const Kind*>& walkedKinds() {
    static std::set<const Kind*> kinds;
    return kinds;
}

class Walk {
public:
    explicit Walk(const Scenario& scenario) : scenario_(scenario), counters_(scenario.counters) {
        counters_.push_back({"descriptors", [] { return static_cast<long>(openDescriptors()); }});
        counters_.push_back(
            {"mapped bytes", [] { return static_cast<long>(HostFaults::mappedBytes()); }});
        counters_.push_back({"heap blocks", HeapFaults::liveBlocks});
    }

    void go();

private:
    Result run(Point& point, unsigned number);
    bool visit(unsigned number, unsigned& variants, unsigned variant);
    std::string leaks();
    void print() const;

    const Scenario& scenario_;
    std::vector<Counter> counters_;
    Result good_;
    unsigned points_ = 0;
    unsigned calls_ = 0;
    unsigned answers_ = 0;
    unsigned faults_ = 0;
};

/// Runs the scenario on a new thread, which has kept nothing from before.
Result Walk::run(Point& point, unsigned number) {
    std::optional<LogCapture> log;
    if (scenario_.capturesLog) {
        log.emplace(scenario_.level);
    }
    std::packaged_task<Result()> task([&] {
        point.begin();
        return scenario_.run();
    });
    std::future<Result> future = task.get_future();
    std::thread client(std::move(task));
    if (future.wait_for(Limit) != std::future_status::ready) {
        std::printf("hangs: %s\n", describe(scenario_, number, point).c_str());
        std::fflush(stdout);
        std::abort();
    }
    client.join();
    Result result = future.get();
    result.records = log ? log->records() : std::vector<LogCapture::Record>();
    if (result.ok && scenario_.leftBehind) {
        result.text += "; " + scenario_.leftBehind();
    }
    return result;
}

/// Answers what is there that was not there before. The server's side may need a moment.
std::string Walk::leaks() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    std::ostringstream text;
    for (Counter& counter : counters_) {
        long now = counter.value();
        while (now > counter.before && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
            now = counter.value();
        }
        if (now > counter.before) {
            text << counter.name << ": " << counter.before << " before, " << now << " now; ";
        }
        counter.before = now;
    }
    return text.str();
}

/// @param variants  Takes how many variants the call knows. @return Whether it was reached.
bool Walk::visit(unsigned number, unsigned& variants, unsigned variant) {
    Point point(number, variant, isThorough() ? Depth::All : Depth::One);
    if (scenario_.only != nullptr) {
        point.only(*scenario_.only);
    }
    if (scenario_.except != nullptr) {
        point.except(*scenario_.except);
    }
    const Result seen = run(point, number);
    variants = point.variants();
    if (point.kind() == nullptr) {
        return false;
    }
    walkedKinds().insert(point.kind());
    ++points_;
    answers_ += seen.ok ? 1 : 0;
    const std::string fault = scenario_.judge(point, seen, good_) + leaks();
    if (!fault.empty()) {
        ++faults_;
        std::string records;
        for (const LogCapture::Record& record : seen.records) {
            records += "\n  " + std::to_string(record.level) + " " + record.text;
        }
        ADD_FAILURE() << describe(scenario_, number, point) << "\n"
                      << fault << "\n"
                      << (seen.ok ? "answer: " : "failure: ") << std::hex << seen.error << " "
                      << seen.text << records;
    }
    return true;
}

void Walk::go() {
    constexpr unsigned never = 0;
    for (int i = 0; i < 2; ++i) {  // the first run makes what a process makes once
        Point none(never, 0, Depth::One);
        good_ = run(none, never);
    }
    (void)leaks();  // from here on they count
    const unsigned stride = isThorough() ? 1 : scenario_.stride;
    bool reached = true;
    for (unsigned number = 1; reached && faults_ < MostFaults; number += stride) {
        unsigned variants = 1;
        for (unsigned variant = 0; reached && variant < variants; ++variant) {
            reached = visit(number, variants, variant);
        }
        calls_ += reached ? 1 : 0;
    }
    EXPECT_GT(points_, 0U) << scenario_.name;
    print();
}

void Walk::print() const {
    std::printf("[ walked   ] %s: %u points at %u calls, %u answers, %u failures\n", scenario_.name,
                points_, calls_, answers_, points_ - answers_);
    std::fflush(stdout);
}

}  // namespace

std::vector<std::string> Result::texts(std::uint32_t level) const {
    std::vector<std::string> texts;
    for (const LogCapture::Record& record : records) {
        if (record.level == level) {
            texts.push_back(record.text);
        }
    }
    return texts;
}

void walk(const Scenario& scenario) {
    Walk(scenario).go();
}

void EveryKindIsWalked::TearDown() {
    const testing::UnitTest& program = *testing::UnitTest::GetInstance();
    if (program.test_to_run_count() != program.total_test_count()) {
        return;
    }
    for (const Kind* const kind : all_) {
        const bool isOther = std::find(others_.begin(), others_.end(), kind) != others_.end();
        EXPECT_NE(walkedKinds().contains(kind), isOther) << kind->name;
    }
}

std::string digest(const std::string& bytes) {
    if (bytes.size() <= 1024) {
        return bytes;
    }
    return std::to_string(bytes.size()) + " bytes, sum " +
           std::to_string(std::hash<std::string>()(bytes));
}

Result resultOf(const Libraries::Networks::HTTP::Client::Seen& seen) {
    Result result;
    result.ok = seen.ok;
    result.error = seen.error;
    std::ostringstream text;
    text << seen.status << " " << seen.reason << "; " << seen.fields << " " << digest(seen.body)
         << "; " << seen.bodySize << (seen.redirected ? "; redirected to " : "; ") << seen.url;
    result.text = seen.ok ? text.str() : "perform";
    return result;
}

}  // namespace FaultWalk

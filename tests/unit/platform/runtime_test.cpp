#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/runtime/containers.hpp"
#include "platform/runtime/error.hpp"
#include "platform/runtime/system.hpp"
#include "platform/runtime/thread.hpp"

#include "tests/support/host.hpp"

namespace {

class Base : public virtual RefCount {};
class Other : public virtual RefCount {};

class Counted final : public Object, public virtual Base {
public:
    explicit Counted(int& alive) noexcept : alive_(&alive) { ++*alive_; }
    Counted(const Counted& other) noexcept
        : RefCount(other), Base(other), Object(other), alive_(other.alive_) {
        ++*alive_;
    }
    Counted& operator=(const Counted&) = default;
    ~Counted() override { --*alive_; }

private:
    int* alive_;
};

TEST(Ref, CopiesCountAndMovesDoNot) {
    int alive = 0;
    {
        Ref<Counted> first = Ref<Counted>::make(alive);
        EXPECT_EQ(first->referenceCount(), 1U);
        Ref<Counted> copy = first;
        EXPECT_EQ(first->referenceCount(), 2U);
        Ref<Base> base = std::move(copy);
        EXPECT_EQ(first->referenceCount(), 2U);
        EXPECT_FALSE(copy);  // NOLINT(bugprone-use-after-move): that is the question
        base = Ref<Base>(first);
        EXPECT_EQ(first->referenceCount(), 2U);
        const Ref<Base>& alias = base;
        base = alias;  // to itself
        EXPECT_EQ(base.as<Counted>(), first);
        EXPECT_EQ(base.as<Other>(), nullptr);
        EXPECT_EQ(first->referenceCount(), 2U);
        const Ref<Counted> twin = Ref<Counted>::make(*first);
        EXPECT_EQ(twin->referenceCount(), 1U);  // a copy of an object starts a count of its own
        EXPECT_EQ(alive, 2);
        Counted* const raw = first.detach();
        EXPECT_FALSE(first);
        raw->releaseReference();
        EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 0);
}

std::atomic<int> onceRuns{0};
std::atomic<bool> onceDone{false};
OnceFlag onceFlag;

TEST(InitCode, RunsOnceAndHoldsConcurrentCallers) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&ready] {
            ++ready;
            while (ready < 8) {
                std::this_thread::yield();
            }
            InitCode::_do_call_once(onceFlag, [] {
                ++onceRuns;
                Thd::sleep(20'000);  // long enough that the others are there
                onceDone = true;
            });
            EXPECT_TRUE(onceDone);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(onceRuns, 1);
}

TEST(ThdLocalData, BelongsToTheThread) {
    const std::uint32_t slot = ThdLocalData::res();
    const std::uint32_t second = ThdLocalData::res();
    EXPECT_NE(slot, second);
    std::uint64_t value = 42;
    EXPECT_FALSE(ThdLocalData::get(slot, value));
    EXPECT_EQ(value, 42U);
    ThdLocalData::set(slot, 0);
    EXPECT_TRUE(ThdLocalData::get(slot, value));
    EXPECT_EQ(value, 0U);
    EXPECT_FALSE(ThdLocalData::get(second, value));
    std::thread([slot] {
        std::uint64_t own = 7;
        EXPECT_FALSE(ThdLocalData::get(slot, own));
        ThdLocalData::set(slot, 9);
    }).join();
    EXPECT_TRUE(ThdLocalData::get(slot, value));
    EXPECT_EQ(value, 0U);
}

TEST(Error, BelongsToTheThread) {
    Error::set(0x8443);
    std::thread([] {
        EXPECT_EQ(Error::get(), 0U);
        Error::set(1);
    }).join();
    EXPECT_EQ(Error::get(), 0x8443U);
}

TEST(Error, DescribesAnyCode) {
    EXPECT_EQ(plain(Error::describe(ErrHostBase + ECONNREFUSED)), "Connection refused");
    EXPECT_STREQ(Error::name(0x8443), "ErrTransfer");
    EXPECT_STREQ(Error::name(0x8446), "ErrInvalidArgument");
    EXPECT_EQ(Error::name(0x12345), nullptr);
    Error::set(5);
    for (const std::uint32_t code :
         {0U, 0x15U, 0x8442U, 0x10002U, 0x2FFFFU, 0x30002U, 0x3FFFFU, 0xFFFFFFFFU}) {
        const Ref<String> text = Error::describe(code);
        ASSERT_TRUE(text);
        EXPECT_FALSE(text->empty()) << code;
    }
    EXPECT_EQ(Error::get(), 5U);
}

TEST(Mem, CopiesOverlappingRangesAndFindsBytes) {
    char text[] = "abcdef";
    Mem::copy(text, text + 2, 4);
    EXPECT_STREQ(text, "ababcd");
    Mem::copy(text + 1, text, 5);
    EXPECT_STREQ(text, "babcdd");
    EXPECT_EQ(Mem::search8(text, 'c', 6), 3U);
    EXPECT_EQ(Mem::search8(text, 'x', 6), 6U);
    EXPECT_EQ(Mem::search8(text, 'b', 0), 0U);
}

TEST(Heap, NeverAnswersNull) {
    for (const Heap::Kind kind : {Heap::Object, Heap::Array}) {
        void* const block = Heap::alloc(0, kind);
        EXPECT_NE(block, nullptr);
        Error::set(3);
        Heap::free(block, kind);
        Heap::free(nullptr, kind);
        EXPECT_EQ(Error::get(), 3U);
    }
    EXPECT_EQ(Heap::tryAlloc(SIZE_MAX / 2, Heap::Array), nullptr);
}

TEST(HeapDeathTest, EndsTheProcessWhenMemoryIsGone) {
    EXPECT_DEATH((void)Heap::alloc(SIZE_MAX / 2, Heap::Object), "memory");
}

TEST(System, KnowsMemoryAndBootParameter) {
    EXPECT_GT(Sys::info(Sys::InstalledMemory), 0U);
    EXPECT_EQ(Sys::info(1), 0U);
    Sys::setBootParameter(str("one two"));
    EXPECT_EQ(plain(Sys::bootParameter()), "one two");
    Sys::setBootParameter(nullptr);
    EXPECT_NE(plain(Sys::bootParameter()), "one two");
}

TEST(Set, HoldsABitPerEnumerator) {
    enum class Letter : std::uint32_t { A, B, C = 31 };
    Definitions::Set<Letter> set = {Letter::B};
    EXPECT_EQ(set.mask(), 2U);
    EXPECT_EQ(set.add(Letter::C).mask(), 0x80000002U);
    EXPECT_TRUE(set.has(Letter::C));
    EXPECT_FALSE(set.has(Letter::A));
    EXPECT_EQ(Definitions::Set<Letter>::fromMask(0xFF).mask(), 0xFFU);
}

TEST(Thd, SleepsItsTimeWhateverSignalsArrive) {
    const Disturbance disturbance;
    const auto start = std::chrono::steady_clock::now();
    Thd::sleep(30'000);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(30'000));
}

}  // namespace

#include "platform/memory/memory.hpp"

#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/runtime/error.hpp"

#include "tests/support/host.hpp"

namespace {

constexpr std::size_t Size = 0x10000;

TEST(SharedMemory, IsPageAlignedAndWritable) {
    for (auto* const create : {&PMem::create, &ShMem::create}) {
        for (const std::size_t size : {std::size_t{1}, std::size_t{5000}, std::size_t{0x100000}}) {
            const Ref<SharedMemory> memory = create(size);
            ASSERT_TRUE(memory);
            EXPECT_EQ(memory->size(), size);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory->address()) % 4096, 0U);
            memory->address()[size - 1] = 1;
        }
    }
}

TEST(SharedMemory, FailureIsNullWithTheHostsCode) {
    for (auto* const create : {&PMem::create, &ShMem::create}) {
        Error::set(0);
        EXPECT_FALSE(create(SIZE_MAX / 2));
        EXPECT_GT(Error::get(), ErrHostBase);
        EXPECT_LT(Error::get(), ErrHostBase + 200);
    }
}

TEST(ShMem, ShowsTheSameBytesThroughItsDescriptor) {
    const Ref<SharedMemory> memory = ShMem::create(Size);
    const int descriptor = ShMem::descriptor(memory);
    ASSERT_GT(descriptor, 2);
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    void* const second = mmap(nullptr, Size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ASSERT_NE(second, MAP_FAILED);
    memory->address()[7] = 0x5A;
    EXPECT_EQ(static_cast<std::uint8_t*>(second)[7], 0x5A);
    static_cast<std::uint8_t*>(second)[Size - 1] = 0xA5;
    EXPECT_EQ(memory->address()[Size - 1], 0xA5);
    munmap(second, Size);
    EXPECT_EQ(ShMem::descriptor(PMem::create(Size)), -1);
    EXPECT_EQ(ShMem::descriptor(nullptr), -1);
}

TEST(ShMem, ThatWasHandedOutIsNotUsedAgain) {
    std::thread([] {
        Ref<SharedMemory> memory = ShMem::create(Size);
        struct stat given = {};
        ASSERT_EQ(fstat(ShMem::descriptor(memory), &given), 0);
        memory.reset();
        memory = ShMem::create(Size);
        struct stat next = {};
        ASSERT_EQ(fstat(ShMem::descriptor(memory), &next), 0);
        EXPECT_NE(given.st_ino, next.st_ino);
    }).join();
}

TEST(SharedMemory, OneReleasedBlockAtTheMostIsKept) {
    for (auto* const create : {&PMem::create, &ShMem::create}) {
        std::thread([create] {
            Ref<SharedMemory> first = create(Size);
            Ref<SharedMemory> second = create(Size);
            std::uint8_t* const firstAddress = first->address();
            std::uint8_t* const secondAddress = second->address();
            EXPECT_NE(firstAddress, secondAddress);
            first->address()[0] = 0x11;
            second->address()[0] = 0x22;
            first.reset();
            second.reset();
            first = create(Size);
            second = create(Size);
            // One of the two was kept with its content; the other one is new and zero.
            EXPECT_EQ(first->address()[0] + second->address()[0],
                      first->address()[0] != 0 ? first->address()[0] : second->address()[0]);
            EXPECT_EQ(create(Size * 2)->size(), Size * 2);
        }).join();
    }
}

TEST(SharedMemory, OutlivesItsThread) {
    for (auto* const create : {&PMem::create, &ShMem::create}) {
        Ref<SharedMemory> memory;
        std::thread([&] {
            memory = create(Size);
            create(Size);
        }).join();
        memory->address()[0] = 1;
        memory.reset();
    }
}

}  // namespace

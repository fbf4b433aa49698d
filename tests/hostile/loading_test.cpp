// Loading and unloading the library at run time. This program does not link it.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/support/bounds.hpp"
#include "tests/support/scripted_server.hpp"
#include "tests/tls/tls_server.hpp"

namespace {

/// Loads the plug-in, has it perform both exchanges and unloads it.
///
/// @param onNewThread  What a thread keeps to its end keeps the code as well.
int loadUseUnload(std::uint16_t http, std::uint16_t https, bool onNewThread) {
    void* const module = dlopen(NETHTTP_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        ADD_FAILURE() << dlerror();  // NOLINT(concurrency-mt-unsafe): of this thread
        return -1;
    }
    auto* const performBoth =
        reinterpret_cast<int (*)(std::uint16_t, std::uint16_t)>(dlsym(module, "performBoth"));
    int answers = 0;
    if (onNewThread) {
        std::thread([&] { answers = performBoth(http, https); }).join();
    } else {
        answers = performBoth(http, https);
    }
    EXPECT_EQ(dlclose(module), 0);
    return answers;
}

std::ptrdiff_t mappings() {
    std::ifstream file("/proc/self/maps");
    return std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n');
}

TEST(Unloading, LeavesOpenSslAndTheHostUsable) {
    const AnsweringServer plainServer(okResponse, 1);
    const TlsServer tlsServer({.chain = trustedChain()}, okResponse);
    const auto use = [&](bool onNewThread) {
        return loadUseUnload(plainServer.port(), tlsServer.port(), onNewThread);
    };
    ASSERT_EQ(use(true) + use(false), 4);  // what is made once is made here
    const std::size_t descriptors = openDescriptors();
    const std::ptrdiff_t before = mappings();
    for (unsigned i = 0; i < (isLongForm() ? 1000U : 100U); ++i) {
        ASSERT_EQ(use(i % 2 == 0), 2) << i;
    }
    EXPECT_LE(openDescriptors(), descriptors + 4);  // the servers may be closing theirs
    EXPECT_LE(mappings(), before + 16);
}

}  // namespace

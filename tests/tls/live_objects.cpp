#include "tests/tls/live_objects.hpp"

#include <atomic>
#include <cstddef>

#include <openssl/crypto.h>

namespace {

using Counter = std::atomic<long>;

void countMade(void*, void*, CRYPTO_EX_DATA*, int, long, void* counter) {
    ++*static_cast<Counter*>(counter);
}

void countFreed(void*, void*, CRYPTO_EX_DATA*, int, long, void* counter) {
    --*static_cast<Counter*>(counter);
}

/// Whatever carries ex data tells of its making and of its end.
struct Counters {
    Counters() {
        watch(CRYPTO_EX_INDEX_SSL_CTX, contexts);
        watch(CRYPTO_EX_INDEX_SSL, connections);
        watch(CRYPTO_EX_INDEX_BIO, bios);
    }
    static void watch(int kind, Counter& counter) {
        CRYPTO_get_ex_new_index(kind, 0, &counter, countMade, nullptr, countFreed);
    }

    Counter contexts{0};
    Counter connections{0};
    Counter bios{0};
};

}  // namespace

LiveObjects liveObjects() {
    static Counters counters;
    return {counters.contexts, counters.connections, counters.bios};
}

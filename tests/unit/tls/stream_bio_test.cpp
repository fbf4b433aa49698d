#include "net/http/tls/stream_bio.hpp"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>

#include "platform/runtime/error.hpp"

#include "net/http/http.hpp"
#include "tests/support/host.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/streams.hpp"
#include "tests/tls/openssl_faults.hpp"
#include "tests/unit/tls/fake_transport.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

constexpr const char* Name = "OpenSSL.BIO";
constexpr std::uint32_t Code = 0x777;

class Neither final : public Object {};

std::vector<LogCapture::Record> one(std::uint32_t level, const std::string& text) {
    return {{level, Name, text}};
}

/// The slot of a BIO's ex data that holds the bound object.
int instanceSlot(const BioPtr& bio, const RefCount* object) {
    int slot = 0;
    while (slot < 100 && BIO_get_ex_data(bio.get(), slot) != object) {
        ++slot;
    }
    return slot;
}

template <class Fake>
struct Transfers : testing::Test {
    static constexpr bool IsSocket = std::is_same_v<Fake, FakeSocket>;
};
using Fakes = testing::Types<FakeSocket, FakeStream>;
TYPED_TEST_SUITE(Transfers, Fakes);

TYPED_TEST(Transfers, PassThroughTheBoundObject) {
    const auto object = Ref<TypeParam>::make();
    const BioPtr bio = createBioOver(*object);
    const std::string third = TestFixture::IsSocket ? "0" : "4294967295";
    char bytes[8] = {};
    const LogCapture log;
    Error::set(Code);
    object->transport.outcomes = {{3, 0}, {UINT64_MAX, 0}, {2, 0}};
    BIO_set_flags(bio.get(), 0xF);
    EXPECT_EQ(BIO_read(bio.get(), bytes, 8), 3);
    EXPECT_EQ(BIO_test_flags(bio.get(), 0xF), 0);
    EXPECT_STREQ(bytes, "abc");
    BIO_set_flags(bio.get(), 0xF);
    EXPECT_EQ(BIO_write(bio.get(), "hello", 5), 5);
    EXPECT_EQ(BIO_test_flags(bio.get(), 0xF), 0);
    EXPECT_EQ(BIO_write(bio.get(), "world", 5), 2);
    EXPECT_EQ(object->transport.written, "hellowo");
    EXPECT_EQ(object->transport.asked,
              "read 8 " + third + "; write 5 " + third + "; write 5 " + third + "; ");
    EXPECT_EQ(BIO_read(bio.get(), nullptr, 8), 0);
    EXPECT_EQ(BIO_read(bio.get(), bytes, 0), 0);
    EXPECT_EQ(BIO_write(bio.get(), nullptr, 8), 0);
    EXPECT_EQ(Error::get(), Code);
    EXPECT_TRUE(log.records().empty());
}

TYPED_TEST(Transfers, ThatMoveNothingLeaveARecordAndTheCode) {
    const auto object = Ref<TypeParam>::make();
    const BioPtr bio = createBioOver(*object);
    char bytes[8];
    for (const std::uint32_t code : {0x15U, 0x20068U, 0U}) {
        const std::string from = TestFixture::IsSocket ? "socket" : "stream";
        const bool quiet = TestFixture::IsSocket && code == 0x15;
        object->transport.outcomes = {{0, code}, {0, code}};
        LogCapture log(1, 0x999);  // a sink that leaves a code of its own
        BIO_set_flags(bio.get(), 0xF);
        EXPECT_EQ(BIO_read(bio.get(), bytes, 8), 0);
        EXPECT_EQ(BIO_test_flags(bio.get(), 0xF), 0);
        EXPECT_EQ(log.records(),
                  quiet ? std::vector<LogCapture::Record>{}
                        : one(3, "Read nothing from " + from + " for BIO; error: " + hexDec(code)));
        EXPECT_EQ(Error::get(), code);
        log.clear();
        BIO_set_flags(bio.get(), 0xF);
        EXPECT_EQ(BIO_write(bio.get(), bytes, 8), 0);
        EXPECT_EQ(BIO_test_flags(bio.get(), 0xF), 0);
        EXPECT_EQ(log.records(),
                  one(3, "Wrote nothing to socket from BIO; error: " + hexDec(code)));
        EXPECT_EQ(Error::get(), code);
    }
}

TEST(StreamBio, HoldsExactlyOneReference) {
    const auto object = Ref<FakeSocket>::make();
    BioPtr bio = createStreamBio(object);
    EXPECT_STREQ(BIO_method_name(bio.get()), "vornik_bio_method");
    char byte = 0;
    (void)BIO_read(bio.get(), &byte, 1);
    (void)BIO_ctrl(bio.get(), BIO_CTRL_FLUSH, 0, nullptr);
    EXPECT_EQ(object->referenceCount(), 2U);
    bio.reset();
    EXPECT_EQ(object->referenceCount(), 1U);
    EXPECT_FALSE(createStreamBio(nullptr));
    EXPECT_EQ(Error::get(), Client::ErrNullArgument);
}

TEST(StreamBio, HasNoLinesOverWhatIsNoStream) {
    const auto neither = Ref<Neither>::make();
    const auto socket = Ref<FakeSocket>::make();
    for (RefCount* const object : std::initializer_list<RefCount*>{neither.get(), socket.get()}) {
        const BioPtr bio = createBioOver(*object);
        char bytes[8];
        const LogCapture log;
        EXPECT_EQ(BIO_gets(bio.get(), bytes, 8), 0);
        EXPECT_EQ(BIO_puts(bio.get(), "text"), 0);
        EXPECT_TRUE(object == socket.get() || BIO_read(bio.get(), bytes, 8) == 0);
        EXPECT_TRUE(object == socket.get() || BIO_write(bio.get(), bytes, 8) == 0);
        EXPECT_EQ(log.texts(), std::vector<std::string>(2, "BIO has no stream associated with it"));
    }
    EXPECT_EQ(socket->transport.asked, "");
}

TEST(StreamBio, WithoutABoundObject) {
    const auto object = Ref<FakeStream>::make();
    const BioPtr bio = createBioOver(*object);
    LogCapture log;
    EXPECT_EQ(BIO_callback_ctrl(bio.get(), BIO_CTRL_SET_CALLBACK, nullptr), 0);
    EXPECT_EQ(log.records(), one(1, "Got BIO callback command eh (14)"));
    log.clear();
    const int slot = instanceSlot(bio, object.get());
    ASSERT_EQ(BIO_set_ex_data(bio.get(), slot, nullptr), 1);
    object->releaseReference();  // that of the slot
    const std::string noInstance = "BIO has no instance associated with it";
    const std::string noStream = "BIO has no stream associated with it";
    char bytes[8];
    Error::set(Code);
    EXPECT_EQ(BIO_read(bio.get(), bytes, 8), 0);
    EXPECT_EQ(BIO_write(bio.get(), bytes, 8), 0);
    EXPECT_EQ(BIO_ctrl(bio.get(), BIO_CTRL_FLUSH, 0, nullptr), -1);
    EXPECT_EQ(BIO_callback_ctrl(bio.get(), BIO_CTRL_SET_CALLBACK, nullptr), -1);
    EXPECT_EQ(log.texts(4), std::vector<std::string>(4, noInstance));
    log.clear();
    EXPECT_EQ(BIO_gets(bio.get(), bytes, 8), 0);
    EXPECT_EQ(BIO_puts(bio.get(), "text"), 0);
    EXPECT_EQ(log.texts(), (std::vector<std::string>{noInstance, noStream, noInstance, noStream}));
    EXPECT_EQ(Error::get(), Code);
}

struct Control {
    const char* name;
    int command;
    long argument;
    std::uint64_t position;  // of a Stripe of ten elements
    long withStripe;
    long without;
    bool supported = true;
    std::uint64_t moved = UINT64_MAX;  // where the Stripe then stands, if elsewhere
};

constexpr Control controls[] = {
    {"Reset", BIO_CTRL_RESET, 0, 7, 1, 1, true, 0},
    {"ResetToAPosition", BIO_CTRL_RESET, 3, 7, 1, 1, true, 3},
    {"ResetBehindTheEnd", BIO_CTRL_RESET, 11, 7, 0, 1, true, 10},
    {"Seek", BIO_C_FILE_SEEK, 4, 0, 1, 1, true, 4},
    {"SeekBehindTheEnd", BIO_C_FILE_SEEK, 99, 0, 0, 1, true, 10},
    {"EndBefore", BIO_CTRL_EOF, 0, 9, 0, 0},
    {"EndAt", BIO_CTRL_EOF, 0, 10, 1, 0},
    {"Info", BIO_CTRL_INFO, 0, 7, 7, 0},
    {"Tell", BIO_C_FILE_TELL, 0, 10, 10, 0},
    {"Push", BIO_CTRL_PUSH, 0, 1, 1, 1},
    {"Pop", BIO_CTRL_POP, 0, 1, 1, 1},
    {"Flush", BIO_CTRL_FLUSH, 0, 1, 1, 1},
    {"Pending", BIO_CTRL_PENDING, 5, 1, 0, 0, false},
    {"WritePending", BIO_CTRL_WPENDING, 0, 1, 0, 0, false},
    {"GetClose", BIO_CTRL_GET_CLOSE, 0, 1, 0, 0, false},
    {"SetClose", BIO_CTRL_SET_CLOSE, 1, 1, 0, 0, false},
    {"Duplicate", BIO_CTRL_DUP, 0, 1, 0, 0, false},
    {"GetDescriptor", BIO_C_GET_FD, 0, 1, 0, 0, false},
    {"Unheardof", 31415, 77, 1, 0, 0, false},
    // Asked several times for every record of TLS: they are answered without a word.
    {"KernelTlsSend", 73, 0, 1, 0, 0},
    {"KernelTlsReceive", 76, 0, 1, 0, 0},
};

void expectAnswer(const Control& row) {
    const auto stripe = ScriptedBody::create(
        {.bytes = std::string(20, 'x'), .element = 2, .position = row.position});
    const auto stream = Ref<FakeStream>::make();
    const auto socket = Ref<FakeSocket>::make();
    for (RefCount* const object :
         std::initializer_list<RefCount*>{stripe.get(), stream.get(), socket.get()}) {
        const BioPtr bio = createBioOver(*object);
        const LogCapture log;
        Error::set(Code);
        EXPECT_EQ(BIO_ctrl(bio.get(), row.command, row.argument, nullptr),
                  object == stripe.get() ? row.withStripe : row.without);
        EXPECT_EQ(log.records(),
                  row.supported
                      ? std::vector<LogCapture::Record>{}
                      : one(3, "Unsupported BIO control " +
                                   hexDec(static_cast<std::uint64_t>(row.command)) + " with args " +
                                   hexDec(static_cast<std::uint64_t>(row.argument))));
        EXPECT_EQ(Error::get(), Code);
    }
    EXPECT_EQ(stripe->position(), row.moved != UINT64_MAX ? row.moved : row.position);
}

TEST(StreamBio, AnswersControls) {
    for (const Control& row : controls) {
        SCOPED_TRACE(row.name);
        expectAnswer(row);
    }
}

// Lines and reads, in pieces of any size, are those of a plain rewrite in fuzz/bio_gets.cpp.

TEST(StreamBio, GetsWithoutAPlaceForItsBufferFailsAndLosesNothing) {
    const auto body = ScriptedBody::create({.bytes = "ab\ncd"});
    const BioPtr bio = createBioOver(*body);
    char line[80] = "#";
    {
        const SslFault fault(SslCall::BioExData);
        EXPECT_EQ(BIO_gets(bio.get(), line, 80), 0);
    }
    EXPECT_STREQ(line, "");
    EXPECT_TRUE(body->asked.empty());
    for (const char* const expected : {"ab\n", "cd"}) {
        EXPECT_GT(BIO_gets(bio.get(), line, 80), 0);
        EXPECT_STREQ(line, expected);
    }
}

TEST(StreamBio, PutsWritesATextToItsEnd) {
    const auto object = Ref<FakeStream>::make();
    const BioPtr bio = createBioOver(*object);
    object->transport.outcomes = {{UINT64_MAX, 0}, {0, Code}};
    const LogCapture log;
    EXPECT_EQ(BIO_puts(bio.get(), "text"), 4);
    EXPECT_EQ(BIO_puts(bio.get(), "more"), 0);  // and no record
    EXPECT_EQ(BIO_puts(bio.get(), nullptr), 0);
    EXPECT_EQ(BIO_gets(bio.get(), nullptr, 80), 0);
    EXPECT_EQ(BIO_write(bio.get(), "x", 0), 0);
    EXPECT_EQ(object->transport.written, "text");
    EXPECT_EQ(object->transport.asked, "write 4 4294967295; write 4 4294967295; ");
    EXPECT_TRUE(log.records().empty());
}

/// What stands in one slot of a copy of a BIO's ex data; the copy is freed along with it.
class CopiedSlot {
public:
    CopiedSlot(int slot, void* content) {
        CRYPTO_EX_DATA from = {};
        EXPECT_EQ(CRYPTO_new_ex_data(CRYPTO_EX_INDEX_BIO, nullptr, &from), 1);
        EXPECT_EQ(CRYPTO_new_ex_data(CRYPTO_EX_INDEX_BIO, nullptr, &copy_), 1);
        CRYPTO_set_ex_data(&from, slot, content);
        EXPECT_EQ(CRYPTO_dup_ex_data(CRYPTO_EX_INDEX_BIO, &copy_, &from), 1);
        CRYPTO_set_ex_data(&from, slot, nullptr);
        CRYPTO_free_ex_data(CRYPTO_EX_INDEX_BIO, nullptr, &from);
        slot_ = slot;
    }
    CopiedSlot(const CopiedSlot&) = delete;
    CopiedSlot& operator=(const CopiedSlot&) = delete;
    ~CopiedSlot() { CRYPTO_free_ex_data(CRYPTO_EX_INDEX_BIO, nullptr, &copy_); }
    [[nodiscard]] void* content() const { return CRYPTO_get_ex_data(&copy_, slot_); }
    void* take() {
        void* const taken = content();
        CRYPTO_set_ex_data(&copy_, slot_, nullptr);
        return taken;
    }

private:
    CRYPTO_EX_DATA copy_ = {};
    int slot_ = 0;
};

TEST(StreamBio, DuplicatingTheExDataSharesTheObjectAndCopiesTheUnreadBytes) {
    const auto body = ScriptedBody::create({.bytes = "ab\ncd\nef"});
    const auto other = ScriptedBody::create({.bytes = "gh"});
    const BioPtr bio = createBioOver(*body);
    const BioPtr heir = createBioOver(*other);
    char bytes[80];
    ASSERT_EQ(BIO_gets(bio.get(), bytes, 80), 3);
    const int instance = instanceSlot(bio, body.get());
    const int buffer = instance + 1;
    void* const bound = BIO_get_ex_data(bio.get(), instance);
    void* const unread = BIO_get_ex_data(bio.get(), buffer);
    {
        const CopiedSlot copy(instance, bound);
        EXPECT_EQ(copy.content(), bound);
        EXPECT_EQ(body->referenceCount(), 3U);
    }
    EXPECT_EQ(body->referenceCount(), 2U);
    ASSERT_EQ(BIO_set_ex_data(heir.get(), buffer, CopiedSlot(buffer, unread).take()), 1);
    // The two read the same bytes, each in a buffer of its own.
    for (const BioPtr* const each : {&bio, &heir}) {
        EXPECT_EQ(BIO_gets(each->get(), bytes, 80), 3);
        EXPECT_STREQ(bytes, "cd\n");
    }
    EXPECT_EQ(BIO_gets(bio.get(), bytes, 80), 2);
    EXPECT_EQ(BIO_gets(heir.get(), bytes, 80), 4);
    EXPECT_STREQ(bytes, "efgh");
    // Without unread bytes, or anything at all, there is nothing to copy.
    EXPECT_EQ(CopiedSlot(buffer, unread).content(), nullptr);
    EXPECT_EQ(CopiedSlot(buffer, nullptr).content(), nullptr);
    EXPECT_EQ(CopiedSlot(instance, nullptr).content(), nullptr);
}

struct Creation {
    const char* name;
    SslCall call;
    int skip;
    const char* record;
};

constexpr Creation creations[] = {
    {"Method", SslCall::MethodNew, 0, "Failed to create BIO methods"},
    {"InstanceIndex", SslCall::ExIndex, 0, "Failed to create index for RefCount data"},
    {"BufferIndex", SslCall::ExIndex, 1, "Failed to create index for buffer"},
};

/// Runs in a process of its own: what fails there has failed for good.
[[noreturn]] void createAgainAndAgain(const Creation& row) {
    const auto object = Ref<FakeSocket>::make();
    const LogCapture log;
    const SslFault fault(row.call, row.skip);
    for (int i = 0; i < 3; ++i) {
        Error::set(0);
        EXPECT_FALSE(createStreamBio(object));
        EXPECT_EQ(Error::get(), ErrBioMethod);
    }
    EXPECT_EQ(log.records(), one(4, row.record));
    EXPECT_EQ(object->referenceCount(), 1U);
    std::exit(testing::Test::HasFailure() ? 1 : 0);  // NOLINT(concurrency-mt-unsafe): no threads
}

TEST(StreamBioDeathTest, FailedCreationIsFinal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const Creation& row : creations) {
        EXPECT_EXIT(createAgainAndAgain(row), testing::ExitedWithCode(0), "") << row.name;
    }
}

/// The numbers of methods run out when an application has made many.
[[noreturn]] void createWithoutANumber() {
    const auto object = Ref<FakeSocket>::make();
    const LogCapture log;
    const SslFault fault(SslCall::NewIndex);
    const BioPtr bio = createStreamBio(object);
    EXPECT_EQ(BIO_method_type(bio.get()), -1);
    EXPECT_EQ(BIO_write(bio.get(), "hello", 5), 5);
    EXPECT_TRUE(log.records().empty());
    std::exit(testing::Test::HasFailure() ? 1 : 0);  // NOLINT(concurrency-mt-unsafe): no threads
}

TEST(StreamBioDeathTest, WithoutANumberOfItsOwnWorksAllTheSame) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(createWithoutANumber(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils

#include "platform/streams/streams.hpp"

#include <csignal>
#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/runtime/error.hpp"

#include "tests/support/host.hpp"
#include "tests/support/streams.hpp"

namespace {

using Interfaces::Stream;
using Interfaces::Stripe;

std::string readAll(Stream& stream, std::size_t piece) {
    std::string bytes;
    std::string buffer(piece, '\0');
    for (;;) {
        const std::int64_t count =
            stream.read(TransferBuffer::plain(buffer.data()), piece, NoTimeout);
        bytes.append(buffer, 0, static_cast<std::size_t>(count));
        if (count < static_cast<std::int64_t>(piece)) {
            return bytes;
        }
    }
}

void expectBodySource(const Ref<Stripe>& source) {
    ASSERT_TRUE(source);
    EXPECT_EQ(source->elementSize(), 1U);
    EXPECT_EQ(source->length(), 5U);
    EXPECT_EQ(source->position(), 0U);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(readAll(*source, 3), "abcde");
        EXPECT_EQ(source->position(), 0U);  // at its start again for the next exchange
    }
    char byte = 0;
    EXPECT_EQ(source->read(TransferBuffer::plain(&byte), 1, NoTimeout), 1);
    EXPECT_EQ(source->position(), 1U);
    EXPECT_EQ(source->setPosition(3), 3U);
    EXPECT_EQ(readAll(*source, 100), "de");
    EXPECT_EQ(source->setPosition(99), 5U);
    Error::set(0);
    EXPECT_FALSE(source->map(PMem::create(4096)));
    EXPECT_EQ(Error::get(), ErrNotSupported);
}

TEST(BodySources, AreAtTheirStartAgainAfterTheirEnd) {
    const TemporaryFile file("abcde");
    expectBodySource(FileStrm::openForReading(str(file.path())));
    expectBodySource(MemInStrm::create("abcde"));
    expectBodySource(MemInStrm::create(str("abcde")));
    expectBodySource(MemInStrm::borrow("abcde", 5));
    EXPECT_FALSE(MemInStrm::create(Ref<String>()));
    EXPECT_EQ(MemInStrm::create("")->length(), 0U);
}

TEST(FileStrm, SendsAFileThatChangesAsItWasAnnounced) {
    const TemporaryFile file("abcde");
    const Ref<Interfaces::Stripe> source = FileStrm::openForReading(str(file.path()));
    EXPECT_EQ(readAll(*source, 2).substr(0, 2), "ab");
    EXPECT_EQ(source->setPosition(2), 2U);
    std::ofstream(file.path(), std::ios::app) << "fghij";
    EXPECT_EQ(source->length(), 5U);
    EXPECT_EQ(readAll(*source, 100), "cde");
    EXPECT_EQ(source->position(), 0U);
    EXPECT_EQ(source->length(), 10U);
    EXPECT_EQ(source->setPosition(8), 8U);
    std::ofstream(file.path(), std::ios::trunc) << "a";
    char byte = 0;
    EXPECT_EQ(source->read(TransferBuffer::plain(&byte), 1, NoTimeout), 0);
    EXPECT_EQ(source->length() - source->position(), 1U);
}

TEST(MemInStrm, KeepsWhatItNeeds) {
    std::string text = "abc";
    const Ref<Stripe> copied = MemInStrm::create(text);
    const Ref<Stripe> borrowed = MemInStrm::borrow(text.data(), text.size());
    const Ref<String> string = str("xyz");
    const Ref<Stripe> shared = MemInStrm::create(string);
    EXPECT_EQ(string->referenceCount(), 2U);
    text[0] = '!';
    EXPECT_EQ(readAll(*copied, 4) + readAll(*borrowed, 4) + readAll(*shared, 4), "abc!bcxyz");
}

TEST(FileStrm, RefusesWhatIsNoFile) {
    const std::pair<Ref<String>, int> cases[] = {
        {str("/nonexistent/file"), ENOENT}, {str("/"), EISDIR}, {str(""), ENOENT}};
    for (const auto& [path, error] : cases) {
        EXPECT_FALSE(FileStrm::openForReading(path));
        EXPECT_EQ(Error::get(), ErrHostBase + static_cast<std::uint32_t>(error)) << plain(path);
        EXPECT_FALSE(FileStrm::openForWriting(path));
        EXPECT_EQ(Error::get(), ErrHostBase + static_cast<std::uint32_t>(error)) << plain(path);
    }
}

TEST(FileStrm, ShortWriteCarriesTheHostsCode) {
    const Ref<Stream> full = FileStrm::openForWriting(str("/dev/full"));
    ASSERT_TRUE(full);
    EXPECT_EQ(full->write(TransferBuffer::plain("abc"), 3, NoTimeout), 0);
    EXPECT_EQ(Error::get(), ErrHostBase + ENOSPC);
}

TEST(FileStrm, LeavesACallersDescriptorOpen) {
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const OwnedDescriptor reader(ends[0]);
    const OwnedDescriptor writer(ends[1]);
    EXPECT_EQ(FileStrm::overDescriptor(ends[1])->write(TransferBuffer::plain("x"), 1, NoTimeout),
              1);
    EXPECT_NE(fcntl(ends[1], F_GETFD), -1);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
}

TEST(MemOutStrm, TakesPiecesOfAnySize) {
    const Ref<MemOutStrm> stream = MemOutStrm::create();
    std::string expected;
    for (std::size_t size = 0; size < 3000; size += 7) {
        const std::string piece(size, static_cast<char>('a' + size % 26));
        expected += piece;
        ASSERT_EQ(stream->write(TransferBuffer::plain(piece.data()), size, NoTimeout),
                  static_cast<std::int64_t>(size));
    }
    EXPECT_EQ(std::string(static_cast<const char*>(stream->data()), stream->size()), expected);
    Error::set(0);
    EXPECT_FALSE(stream->map(PMem::create(4096)));
    EXPECT_EQ(Error::get(), ErrNotSupported);
}

TEST(MemOutStrm, WithoutMemoryTakesNothingAndKeepsWhatItHas) {
    const Ref<MemOutStrm> stream = MemOutStrm::create();
    EXPECT_EQ(stream->write(TransferBuffer::plain("abc"), 3, NoTimeout), 3);
    Error::set(0);
    // The size is refused before a byte of the source is looked at.
    EXPECT_EQ(stream->write(TransferBuffer::plain("x"), UINT64_MAX - 1, NoTimeout), 0);
    EXPECT_EQ(Error::get(), ErrHostBase + ENOMEM);
    EXPECT_EQ(stream->write(TransferBuffer::plain("x"), std::uint64_t{1} << 46U, NoTimeout), 0);
    EXPECT_EQ(std::string(static_cast<const char*>(stream->data()), stream->size()), "abc");
}

TEST(Stream, OffersNothingUnlessOverridden) {
    class Bare final : public Object, public virtual Stream {};
    const auto bare = Ref<Bare>::make();
    char byte = 0;
    Error::set(0);
    EXPECT_EQ(bare->read(TransferBuffer::plain(&byte), 1, NoTimeout), 0);
    EXPECT_EQ(Error::get(), ErrNotSupported);
    Error::set(0);
    EXPECT_EQ(bare->write(TransferBuffer::plain(&byte), 1, NoTimeout), 0);
    EXPECT_EQ(Error::get(), ErrNotSupported);
    Error::set(0);
    EXPECT_FALSE(bare->map(nullptr));
    EXPECT_EQ(Error::get(), ErrNotSupported);
    bare->unmap({});
}

/// Runs in a child without standard streams; answers the number of what went wrong.
int openWithoutStandardStreams(const char* path) {
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        close(descriptor);
    }
    const Ref<Stripe> source = FileStrm::openForReading(str(path));
    const Ref<Stream> sink = FileStrm::openForWriting(str(path));
    const auto socket = Services::Network::Client::Socket::create(
        Services::Network::Definitions::AddressFamily::IPv4, 1, 6);
    const Ref<SharedMemory> memory = ShMem::create(4096);
    if (!source || !sink || !socket || !memory) {
        return 1;
    }
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1) {
            return 2;
        }
    }
    return ShMem::descriptor(memory) > 2 ? 0 : 3;
}

TEST(Descriptors, AreNeverThoseOfTheStandardStreams) {
    const TemporaryFile file("");
    const pid_t child = fork();
    if (child == 0) {
        _exit(openWithoutStandardStreams(file.path().c_str()));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace

// Texts of C++ programs where the platform asks for strings, and strings where a text is asked for.

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/runtime/error.hpp"
#include "platform/runtime/string_util.hpp"
#include "platform/streams/adapters.hpp"

namespace {

/// What an application would declare: overloads must not get in its way.
Ref<String> taken(Ref<String> text) {
    return text;
}

TEST(TextLike, BecomesAString) {
    const char characters[8] = "abc";
    EXPECT_EQ(taken("abc"), "abc");
    EXPECT_EQ(taken(characters), "abc");  // up to the NUL
    EXPECT_EQ(taken(std::string("a\0c", 3)), std::string_view("a\0c", 3));
    EXPECT_EQ(taken(std::string_view("abcd").substr(1)), "bcd");
    EXPECT_EQ(taken(std::filesystem::path("/a/b")), "/a/b");
    EXPECT_TRUE(taken("") != nullptr);
}

TEST(TextLike, NullIsNoText) {
    const char* const none = nullptr;
    EXPECT_EQ(taken(none), nullptr);
    EXPECT_EQ(taken(nullptr), nullptr);
    EXPECT_EQ(taken({}), nullptr);
    EXPECT_NE(taken(none), "");
    EXPECT_EQ(std::string_view(taken(none)), "");
}

TEST(StreamAdapters, OutputsTakeWhatTheyAreGivenAndNoMore) {
    const TransferBuffer bytes = TransferBuffer::plain("abcdef");
    std::ostringstream stream;
    std::string string = "0";
    std::array<std::byte, 4> room{};
    EXPECT_EQ(Streams::to(stream)->write(bytes, 6, NoTimeout), 6);
    EXPECT_EQ(Streams::to(string)->write(bytes, 6, NoTimeout), 6);
    EXPECT_EQ(stream.str(), "abcdef");
    EXPECT_EQ(string, "0abcdef");
    const Ref<Interfaces::Stream> bounded = Streams::to(room);
    EXPECT_EQ(bounded->write(bytes, 3, NoTimeout), 3);
    EXPECT_EQ(bounded->write(bytes, 3, NoTimeout), 1);
    EXPECT_EQ(Error::get(), ErrHostBase + ENOSPC);
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(room.data()), 4), "abca");
}

TEST(StreamAdapters, FailureOfAStreamSaysWhy) {
    std::ofstream full;
    full.rdbuf()->pubsetbuf(nullptr, 0);
    full.open("/dev/full");
    EXPECT_EQ(Streams::to(full)->write(TransferBuffer::plain("a"), 1, NoTimeout), 0);
    EXPECT_EQ(Error::get(), ErrHostBase + ENOSPC);
    EXPECT_EQ(Error::describe(), "No space left on device");
    std::ostringstream ended;
    ended.setstate(std::ios::eofbit | std::ios::failbit);
    EXPECT_EQ(Streams::to(ended)->write(TransferBuffer::plain("a"), 1, NoTimeout), 0);
    EXPECT_EQ(Error::get(), ErrHostBase + EIO);
}

TEST(StreamAdapters, SourcesHoldOrBorrow) {
    std::array<std::byte, 3> bytes{};
    EXPECT_EQ(Streams::from("abc")->length(), 3U);
    const Ref<Interfaces::Stripe> borrowed = Streams::from(bytes);
    bytes[0] = std::byte{'x'};
    char first = 0;
    EXPECT_EQ(borrowed->read(TransferBuffer::plain(&first), 1, NoTimeout), 1);
    EXPECT_EQ(first, 'x');
    EXPECT_EQ(Streams::fromFile("/nowhere/file"), nullptr);
    EXPECT_EQ(Streams::toFile(std::filesystem::path("/nowhere/file")), nullptr);
    EXPECT_EQ(Error::get(), ErrHostBase + ENOENT);
}

}  // namespace

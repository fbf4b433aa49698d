#include "platform/log/log.hpp"

#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/runtime/error.hpp"

#include "tests/support/host.hpp"
#include "tests/support/log_capture.hpp"

namespace {

std::uint64_t testChannel() {
    static const std::uint64_t handle = SysLogFilter::reg("Test Channel");
    return handle;
}

/// Answers what the default sink writes for a text: the part behind the channel.
std::string lineOf(std::string_view text) {
    int ends[2] = {};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const OwnedDescriptor reader(ends[0]);
    OwnedDescriptor writer(ends[1]);
    const OwnedDescriptor saved(fcntl(2, F_DUPFD_CLOEXEC, 3));
    dup2(writer.number(), 2);
    SysLogStream::writeLine(4, "Test", text);
    dup2(saved.number(), 2);
    writer.close();
    char buffer[4096];
    const ssize_t count = read(reader.number(), buffer, sizeof(buffer));
    const std::string line(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
    EXPECT_THAT(line, testing::MatchesRegex("[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:"
                                            "[0-6][0-9]\\.[0-9]{6}Z 4 \\[Test\\] [^\n]*\n"));
    const std::size_t start = line.find("] ");
    return start != std::string::npos ? line.substr(start + 2, line.size() - start - 3) : line;
}

TEST(LogLine, EscapesWhatCouldForgeALineOrSteerATerminal) {
    const std::pair<std::string, std::string> cases[] = {
        {"plain ~ text", "plain ~ text"},
        {"", ""},
        {"a\nb\rc\td", "a\\x0ab\\x0dc\\x09d"},
        {std::string("\0\x1b\x7f", 3), "\\x00\\x1b\\x7f"},
        {"\u00e9\u20ac\U0001f600", "\u00e9\u20ac\U0001f600"},
        {"\xC2\x80\xC2\x9F\xC2\xA0", "\\xc2\\x80\\xc2\\x9f\xC2\xA0"},  // C1 controls
        {"\u2027\u2028\u2029", "\u2027\\xe2\\x80\\xa8\\xe2\\x80\\xa9"},
        {"\u200d\u200e\u200f\u2010", "\u200d\\xe2\\x80\\x8e\\xe2\\x80\\x8f\u2010"},
        {"\u202a\u202e\u202f", "\\xe2\\x80\\xaa\\xe2\\x80\\xae\u202f"},
        {"\u2065\u2066\u2069\u206a", "\u2065\\xe2\\x81\\xa6\\xe2\\x81\\xa9\u206a"},
        {"\xff\xc3", "\\xff\\xc3"},
        {"\xc3(", "\\xc3("},
        {"\xc0\xaf", "\\xc0\\xaf"},                    // overlong
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // a surrogate
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // above 0x10FFFF
        {"\xe2\x82", "\\xe2\\x82"},
        {"\\x41", "\\x41"},
    };
    for (const auto& [text, line] : cases) {
        EXPECT_EQ(lineOf(text), line);
    }
}

TEST(LogStream, BuildsOneRecordInSeveralStatements) {
    const LogCapture log;
    const auto begin = [] {
        Ref<SysLogStream> printer = SysLogStream::stdOutPrinter();
        printer->setLevel(3).setChannel(SysLogFilter::id(testChannel()));
        return printer;
    };
    begin()->text("first ").number(std::int64_t{-1});
    std::thread([&begin] {
        begin()->text("other thread");
        SysLogStream::stdOutPrinter()->endRecord();
    }).join();
    begin()->text("; ").hexadecimal().number(std::uint64_t{255}).text("h ").boolean(false);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"other thread"});
    begin()->endRecord();
    EXPECT_TRUE(log.has(3, "Test Channel", "first -1; ffh false"));
    EXPECT_EQ(log.records().size(), 2U);
    begin()->text("next");
    begin()->endRecord();
    EXPECT_TRUE(log.has(3, "Test Channel", "next"));
}

TEST(LogStream, LeavesTheErrorCode) {
    const LogCapture log(1, 0x999);
    Error::set(0x42);
    SysLogStream::stdOutPrinter()->text("x");
    SysLogStream::stdOutPrinter()->endRecord();
    SysLogStream::stdOutPrinter()->dump("abc", 3, 1, 16);
    EXPECT_EQ(Error::get(), 0x42U);
}

TEST(LogStream, DumpsSixteenBytesALine) {
    const LogCapture log;
    const std::string bytes = "GET / HTTP/1.0\r\nHost: \x01\xff";
    SysLogStream::stdOutPrinter()->setLevel(1).setChannel(SysLogFilter::id(testChannel()));
    SysLogStream::stdOutPrinter()->dump(bytes.data(), bytes.size(), 1, 16);
    const std::vector<std::string> lines = log.texts();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find("47 45 54 20 2f 20 48 54"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("GET / HTTP/1.0.."), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("10"), std::string::npos) << lines[1];
    EXPECT_NE(lines[1].find("48 6f 73 74 3a 20 01 ff"), std::string::npos) << lines[1];
    EXPECT_EQ(lines[1].find("GET"), std::string::npos) << lines[1];
    EXPECT_EQ(log.records()[1].channel, "Test Channel");
}

TEST(LogFilter, ChannelsAreFoundAndSwitched) {
    EXPECT_EQ(SysLogFilter::find("Test Channel"), testChannel());
    EXPECT_EQ(SysLogFilter::find("No such channel"), 0U);
    EXPECT_TRUE(SysLogFilter::state(testChannel()));
    SysLogFilter::setState(testChannel(), false);
    EXPECT_FALSE(SysLogFilter::state(testChannel()));
    SysLogFilter::setState(testChannel(), true);
    EXPECT_FALSE(SysLogFilter::state(0));
    EXPECT_EQ(SysLogFilter::level(), 3U);
}

/// Runs in a child, whose environment is read at the first use.
int stateOfNamedChannels() {
    setenv("VORNIK_LOG_OFF", "Other, Second Channel,", 1);  // NOLINT(concurrency-mt-unsafe): child
    const bool first = SysLogFilter::state(SysLogFilter::reg("First Channel"));
    const bool second = SysLogFilter::state(SysLogFilter::reg("Second Channel"));
    return first && !second ? 0 : 1;
}

TEST(LogFilterDeathTest, ChannelsNamedByTheEnvironmentAreOff) {
    EXPECT_EXIT(_exit(stateOfNamedChannels()), testing::ExitedWithCode(0), "");
}

}  // namespace

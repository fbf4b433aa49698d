#include "net/http/transport/log.hpp"

#include <gtest/gtest.h>

#include "platform/runtime/error.hpp"

#include "tests/support/host.hpp"
#include "tests/support/log_capture.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

TEST(LogRecord, IsWrittenByLevelAndChannel) {
    for (const std::uint32_t systemLevel : {0U, 1U, 2U, 3U, 4U, 5U}) {
        const LogCapture log(systemLevel);
        std::size_t expected = 0;
        for (const Level level : {Level::Trace, Level::Warning, Level::Failure}) {
            const bool wanted = systemLevel <= static_cast<std::uint32_t>(level);
            expected += wanted ? 1 : 0;
            const LogRecord record(Channel::HttpClient, level);
            EXPECT_EQ(static_cast<bool>(record), wanted) << systemLevel;
        }
        EXPECT_EQ(log.records().size(), expected);
    }
}

TEST(LogRecord, OfAChannelThatIsOffIsNotWritten) {
    const LogCapture log(1);
    const ChannelOff off("HTTP Client");
    EXPECT_FALSE(LogRecord(Channel::HttpClient, Level::Failure));
    EXPECT_TRUE(LogRecord(Channel::HttpUtils, Level::Trace));
    EXPECT_TRUE(LogRecord(Channel::OpenSslBio, Level::Trace));
    EXPECT_EQ(log.records().at(0).channel, "HTTP Utils");
    EXPECT_EQ(log.records().at(1).channel, "OpenSSL.BIO");
}

TEST(DebugSwitches, AreOffWithoutABootParameter) {
    EXPECT_FALSE(readDebugSwitches(nullptr).connect || readDebugSwitches(nullptr).sslCerts);
}

TEST(Channels, AreRegisteredInOrder) {
    const std::uint64_t first = SysLogFilter::find("HTTP Client");
    EXPECT_NE(first, 0U);
    EXPECT_LT(first, SysLogFilter::find("HTTP Utils"));
    EXPECT_LT(SysLogFilter::find("HTTP Utils"), SysLogFilter::find("OpenSSL.BIO"));
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils

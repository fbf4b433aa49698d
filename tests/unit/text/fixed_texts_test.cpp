#include <gtest/gtest.h>

#include "platform/runtime/system.hpp"

#include "net/http/http.hpp"
#include "tests/support/host.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

TEST(StatusDescription, SpecialCases) {
    constexpr std::pair<unsigned long long, const char*> cases[] = {
        {100, "Continue"},
        {103, "Early Hints"},
        {200, "OK"},
        {207, "Multi - Status"},
        {306, "Unknown Error"},
        {307, "Temporary Redirect"},
        {413, "Payload Too Large"},
        {418, "Unknown Error"},
        {427, "Unassigned"},
        {451, "Unavailable For Legal Reasons"},
        {509, "Unassigned"},
        {512, "Unknown Error"},
        {1000, "Unknown Error"},
        {(1ULL << 32U) + 200, "Unknown Error"},
        {~0ULL, "Unknown Error"},
    };
    Error::set(77);
    for (const auto& [code, text] : cases) {
        EXPECT_EQ(plain(Response::descriptionForStatusCode(code)), text) << code;
    }
    EXPECT_EQ(Error::get(), 77U);
}

TEST(StatusDescription, ThereAreSixtyFour) {
    unsigned known = 0;
    std::size_t octets = 0;
    for (unsigned long long code = 0; code < 2000; ++code) {
        const Ref<String> text = Response::descriptionForStatusCode(code);
        known += text->equals("Unknown Error") ? 0 : 1;
        octets += text->equals("Unknown Error") ? 0 : text->length();
    }
    EXPECT_EQ(known, 64U);
    EXPECT_EQ(octets, 965U);  // a letter more or less in any text shows here
}

TEST(DefaultUserAgent, IsTheLongProductName) {
    const std::string agent = plain(Request::defaultUserAgent());
    EXPECT_EQ(agent, plain(PlatformEnvironment::getLongProductName(str("Vornik"))));
    EXPECT_TRUE(agent.starts_with("Vornik/")) << agent;
    EXPECT_NE(agent.find(" (Linux "), std::string::npos) << agent;
    EXPECT_FALSE(PlatformEnvironment::getLongProductName(str("Other")));
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

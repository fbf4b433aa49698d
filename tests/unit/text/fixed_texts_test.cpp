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
        {203, "Non - Authoritative Information"},
        {207, "Multi - Status"},
        {226, "IM Used"},
        {302, "Found"},
        {305, "Use Proxy"},
        {306, "Unknown Error"},
        {307, "Temporary Redirect"},
        {413, "Payload Too Large"},
        {414, "URI Too Long"},
        {417, "Expectation Failed"},
        {418, "Unknown Error"},
        {421, "Misdirected Request"},
        {422, "Unprocessable Entity"},
        {425, "Too Early"},
        {427, "Unassigned"},
        {430, "Unassigned"},
        {451, "Unavailable For Legal Reasons"},
        {505, "HTTP Version Not Supported"},
        {509, "Unassigned"},
        {511, "Network Authentication Required"},
        {512, "Unknown Error"},
        {0, "Unknown Error"},
        {99, "Unknown Error"},
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

TEST(StatusDescription, EveryCallAnswersAFreshString) {
    EXPECT_NE(Response::descriptionForStatusCode(200), Response::descriptionForStatusCode(200));
    EXPECT_NE(Response::descriptionForStatusCode(1), Response::descriptionForStatusCode(1));
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

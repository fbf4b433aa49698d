#include <gtest/gtest.h>

#include "net/http/http.hpp"
#include "tests/support/host.hpp"
#include "tests/support/plain_rules.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using SplitFlags = Definitions::Set<Request::SplitFlag, unsigned int,
                                    Definitions::EnumSeqConvert<Request::SplitFlag, unsigned int>>;

constexpr unsigned KeepPort = 1;  // the masks are binary interface as well
constexpr unsigned KeepPath = 2;
constexpr const char* Null = "(null)";

struct SplitCase {
    const char* name;
    unsigned flags;
    const char* url;
    std::uint32_t error;
    const char* protocol;
    const char* host;
    unsigned port;
    const char* path;
};

constexpr SplitCase splitCases[] = {
    {"Plain", 0, "http://h", 0, "http", "h", 0, "/"},
    {"CaseOfHostAndPathStays", 0, "HtTpS://Host.X/Pa?Q#F", 0, "https", "Host.X", 0, "/Pa?Q#F"},
    {"SmallPort", 0, "http://h:1/p", 0, "http", "h", 1, "/p"},
    {"LargestPort", 0, "http://h:65535/", 0, "http", "h", 65535, "/"},
    {"PortTooLarge", 0, "http://h:65536/p", ErrInvalidArgument, "http", "h", 0, "/p"},
    {"PortBeyond32Bits", 0, "http://h:4294967376/", ErrInvalidArgument, "http", "h", 0, "/"},
    {"PortWithLetters", 0, "http://h:8a/p", ErrInvalidArgument, "http", "h", 0, "/p"},
    {"PortWithSign", 0, "http://h:+80/", ErrInvalidArgument, "http", "h", 0, "/"},
    {"PortWithBlank", 0, "http://h: 80/", ErrInvalidArgument, "http", "h", 0, "/"},
    {"EmptyPort", 0, "http://h:/", ErrInvalidArgument, "http", "h", 0, "/"},
    {"PortZeroMeansNone", 0, "http://h:0/", 0, "http", "h", 0, "/"},
    {"LeadingZeros", 0, "http://h:0080/", 0, "http", "h", 80, "/"},
    {"OtherProtocol", 0, "FTP://h:21", 0, "ftp", "h", 21, "/"},
    {"BracketsWithPort", 0, "http://[::1]:8080/x", 0, "http", "[::1]", 8080, "/x"},
    {"BracketsWithoutPort", 0, "http://[::1]/x", ErrInvalidArgument, "http", "[:", 0, "/x"},
    {"UserInformation", 0, "http://u@h/", 0, "http", "u@h", 0, "/"},
    {"PasswordIsTakenAsPort", 0, "http://u:p@h/", ErrInvalidArgument, "http", "u", 0, "/"},
    {"UserInformationAndPort", 0, "http://u:p@h:7/", 0, "http", "u:p@h", 7, "/"},
    {"KeptPortKeepsUser", KeepPort, "http://u:p@h/", 0, "http", "u:p@h", 0, "/"},
    {"KeptPort", KeepPort, "http://h:99999/p", 0, "http", "h:99999", 0, "/p"},
    {"KeptPath", KeepPath, "http://h:8/p?q", 0, "http", "h/p?q", 8, Null},
    {"KeptPathWithoutPath", KeepPath, "http://h:8", 0, "http", "h", 8, Null},
    {"KeptPathFailsOnThePort", KeepPath, "http://h:x/p", ErrInvalidArgument, "http", "h", 0, "/p"},
    {"KeptBoth", KeepPort | KeepPath, "http://h:8/p", 0, "http", "h:8/p", 0, Null},
    {"UnknownFlagBits", 0xFFFFFFFC, "http://h:8/p", 0, "http", "h", 8, "/p"},
    {"EmptyHostIsNotNull", 0, "http:///p", 0, "http", "", 0, "/p"},
    {"EmptyHostWithPort", 0, "http://:8", 0, "http", "", 8, "/"},
    {"EmptyProtocol", 0, "://h", 0, "", "h", 0, "/"},
    {"NothingButTheMark", 0, "://", 0, "", "", 0, "/"},
    {"MarkInsideAQuery", 0, "/a?b=http://h/c", 0, "/a?b=http", "h", 0, "/c"},
    {"QueryWithoutSlash", 0, "http://h?q", 0, "http", "h?q", 0, "/"},
    {"ColonInAPath", 0, "http://h/a:b", 0, "http", "h", 0, "/a:b"},
    {"NoMark", 0, "h/p", ErrInvalidArgument, Null, Null, 0, Null},
    {"HalfAMark", 0, "http:/h", ErrInvalidArgument, Null, Null, 0, Null},
    {"Empty", 0, "", ErrInvalidArgument, Null, Null, 0, Null},
};

TEST(SplitUrl, Table) {
    for (const SplitCase& row : splitCases) {
        SCOPED_TRACE(row.name);
        Ref<String> protocol = str("old");
        Ref<String> host = str("old");
        Ref<String> path = str("old");
        unsigned short port = 1234;
        Error::set(0);
        const bool good = Request::splitUrl(str(row.url), protocol, host, port, path,
                                            SplitFlags::fromMask(row.flags));
        EXPECT_EQ(good, row.error == 0);
        EXPECT_EQ(Error::get(), row.error);
        EXPECT_EQ(plain(protocol), row.protocol);
        EXPECT_EQ(plain(host), row.host);
        EXPECT_EQ(port, row.port);
        EXPECT_EQ(plain(path), row.path);
    }
}

TEST(SplitUrl, AgreesWithAPlainRewriteOfItsRules) {
    plain_rules::Texts texts({"://", "http", "HTTPS", ":", "/", "h", "80", "65535", "65536", "0",
                              "[::1]", "@", "?", "#", ".", " ", "+", std::string(1, '\0'), "\xC3"});
    std::size_t good = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string url = (texts.below(2) == 1 ? "http://h:" : "") + texts.next(8);
        const bool keepPort = texts.below(2) == 1;
        const bool keepPath = texts.below(2) == 1;
        const plain_rules::SplitResult wanted = plain_rules::split(url, keepPort, keepPath);
        good += wanted.error == 0 ? 1U : 0U;
        ASSERT_EQ(plain_rules::splitByLibrary(url, keepPort, keepPath), wanted)
            << testing::PrintToString(url) << ", flags " << keepPort << keepPath;
    }
    EXPECT_GT(good, 2'000U);
}

TEST(SplitUrl, NullIsAnErrorOfItsOwn) {
    Ref<String> protocol = str("old");
    Ref<String> host = str("old");
    Ref<String> path = str("old");
    unsigned short port = 1234;
    EXPECT_FALSE(Request::splitUrl(nullptr, protocol, host, port, path, {}));
    EXPECT_EQ(Error::get(), ErrNullArgument);
    EXPECT_FALSE(protocol || host || path);
    EXPECT_EQ(port, 0);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

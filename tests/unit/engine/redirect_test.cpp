#include "net/http/engine/redirect.hpp"

#include <gtest/gtest.h>

#include "tests/support/host.hpp"
#include "tests/support/plain_rules.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

const HopTarget& hop() {
    static const HopTarget target = {str("http"), str("h"), 80, str("/a/b/c")};
    return target;
}

struct TargetCase {
    const char* name;
    const char* location;
    const char* current;
    const char* target;
};

constexpr const char* Abc = "http://h/a/b/c";

constexpr TargetCase targets[] = {
    {"PathHasAlwaysAPort", "/x", Abc, "http://h:80/x"},
    {"PathKeepsQueryAndDots", "/x/../y?z#f", Abc, "http://h:80/x/../y?z#f"},
    {"TwoSlashesAreAPath", "//other/x", Abc, "http://h:80//other/x"},
    {"PathWithAMark", "/x?u=http://o/", Abc, "http://h:80/x?u=http://o/"},
    {"Absolute", "HTTPS://Other:1/X", Abc, "HTTPS://Other:1/X"},
    {"AbsoluteWithoutPath", "ftp://o", Abc, "ftp://o"},
    {"AbsoluteWithEmptyProtocol", "://o/x", Abc, "://o/x"},
    {"MarkBehindASlashIsRelative", "x/http://o/", Abc, "http://h/a/b/x/http://o/"},
    {"MarkInAQueryIsAbsolute", "x?u=http://o/", Abc, "x?u=http://o/"},
    {"MarkWithOneSlash", "http:/x", Abc, "http://h/a/b/http:/x"},
    {"Relative", "y", Abc, "http://h/a/b/y"},
    {"RelativeKeepsDotsInside", "y/../z", Abc, "http://h/a/b/y/../z"},
    {"QueryAloneReplacesTheLastSegment", "?q", Abc, "http://h/a/b/?q"},
    {"FragmentAlone", "#f", Abc, "http://h/a/b/#f"},
    {"BaseEndsInASlash", "y", "http://h/a/", "http://h/a/y"},
    {"BaseQueryWithSlash", "y", "http://h/a?p=b/c", "http://h/a?p=b/y"},
    {"OneDot", "./y", Abc, "http://h/a/b/y"},
    {"TwoDots", "../y", Abc, "http://h/a/y"},
    {"FourDots", "../../y", Abc, "http://h/y"},
    {"NeverAboveTheRoot", "../../../../y", Abc, "http://h/y"},
    {"OnlyADot", ".", Abc, "http://h/a/b"},
    {"OnlyTwoDots", "..", Abc, "http://h/a"},
    {"DotAndSlash", "./", Abc, "http://h/a/b/"},
    {"TwoDotsAndSlash", "../", Abc, "http://h/a/"},
    {"HiddenFile", ".x/y", Abc, "http://h/a/b/.x/y"},
    {"ThreeDots", ".../y", Abc, "http://h/a/b/.../y"},
    {"DotsInTheMiddle", "./x/.././y/../z", Abc, "http://h/a/b/z"},
    {"EmptySegmentsCount", ".//y", Abc, "http://h/a/b//y"},
    {"EmptySegmentIsRemoved", ".//../y", Abc, "http://h/a/b/y"},
    {"QueryIsNotResolved", "../y?p=../q", Abc, "http://h/a/y?p=../q"},
    {"FragmentIsNotResolved", "../y#../q?r", Abc, "http://h/a/y#../q?r"},
    {"DotBeforeAQuery", ".?q", Abc, "http://h/a/b?q"},
    {"RootWithDots", "../y", "http://h/c", "http://h/y"},
    {"RootWithDot", "./y", "http://h/", "http://h/y"},
    {"PortStaysInTheOrigin", "../y", "http://h:81/a/b/c", "http://h:81/a/y"},
    {"BaseQueryCutsTheList", "./y", "http://h/a/b?p=c/d", "http://h/a/b/y"},
    {"BaseFragmentCutsTheList", "../y", "http://h/a/b#f/g/h", "http://h/a/y"},
};

TEST(RedirectTarget, Table) {
    for (const TargetCase& row : targets) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(plain(redirectTarget(row.location, row.current, hop())), row.target);
    }
    const HopTarget secure = {str("https"), str("[::1]"), 8443, str("/")};
    EXPECT_EQ(plain(redirectTarget("/x", "https://[::1]:8443/", secure)), "https://[::1]:8443/x");
}

TEST(RedirectTarget, AgreesWithAPlainRewriteOfItsRules) {
    plain_rules::Texts texts({"http://h", "://", "/", "/a", ".", "..", "./", "../", "b", "?", "#",
                              "/c/d", ":", "ftp", "?p=/", " "});
    const plain_rules::Hop plainHop = {"http", "h", 80};
    for (int i = 0; i < 20'000; ++i) {
        const std::string location = texts.next(6);
        const std::string current = texts.next(6);
        ASSERT_EQ(plain(redirectTarget(location, current, hop())),
                  plain_rules::redirectTarget(location, current, plainHop))
            << location << " from " << current;
    }
}

// Where an exchange goes is seen in tests/exchange; no server can send this.
TEST(DecideRedirect, TakesANullLocationForNone) {
    HeaderFields fields;
    fields.emplace(str("LOCATION"), nullptr);
    RedirectState state;
    state.currentUrl = str(Abc);
    EXPECT_EQ(decideRedirect(fields, hop(), true, state), Redirect::Stay);
    EXPECT_EQ(state.currentUrl, nullptr);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

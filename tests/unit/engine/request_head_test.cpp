#include "net/http/engine/request_head.hpp"

#include <gtest/gtest.h>

#include "tests/support/host.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

TEST(RequestHead, TargetsAreEncodedBySegment) {
    constexpr std::pair<const char*, const char*> cases[] = {
        {"/", "/"},
        {"", ""},
        {"/a b/c", "/a%20b/c"},
        {"/p?x=1", "/p?x=1"},
        {"/p?a,b?c:d", "/p?a%2cb%3fc%3ad"},
        {"/p q?", "/p%20q?"},
        {"/?", "/?"},
        {"/d/f?q=a/b", "/d/f%3fq=a/b"},  // the "?" sits in an earlier segment
        {"/d/f?q=a/b?c", "/d/f%3fq=a/b?c"},
        {"//x//", "//x//"},
        {"no-slash?a b", "no-slash?a%20b"},
        {"/%41+", "/%2541%2b"},
        {"/a#b&c=d", "/a#b&c=d"},
        {"/a\r\nb", "/a%0d%0ab"},
    };
    for (const auto& [path, target] : cases) {
        Ref<String> rewritten = str(path);
        requestTarget(rewritten);
        EXPECT_EQ(plain(rewritten), target) << path;
    }
    Ref<String> none;
    requestTarget(none);
    EXPECT_FALSE(none);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

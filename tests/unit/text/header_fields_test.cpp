// The rules of the header-field map, through the type itself and through the setters of a request.
// What a request holds in the end, the exchange tests see on the wire.
#include "net/http/text/header_fields.hpp"

#include <gtest/gtest.h>

#include "net/http/http.hpp"
#include "tests/support/host.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

std::string shown(const HeaderFields& fields) {
    std::string all;
    for (const auto& [name, value] : fields) {
        all += plain(name) + "=" + plain(value) + ";";
    }
    return all;
}

TEST(HeaderFields, AreOrderedByLoweredOctetsNullFirst) {
    HeaderFields fields;
    for (const char* const name : {"b", "_", "Z", "A", "\xC3\x84", "", "a-b", "Ab", "\x7f"}) {
        setField(fields, str(name), str("."));
    }
    fields.emplace(nullptr, str("null"));
    // "_" lies between the upper and the lower case: lowered letters are behind it.
    EXPECT_EQ(shown(fields), "(null)=null;=.;_=.;A=.;a-b=.;Ab=.;b=.;Z=.;\x7f=.;\xC3\x84=.;");
}

TEST(HeaderFields, NullComesBeforeAnyTextAndEqualsItself) {
    EXPECT_FALSE(HeaderNameLess()(Ref<String>(), Ref<String>()));
    EXPECT_TRUE(HeaderNameLess()(Ref<String>(), std::string_view()));
    EXPECT_FALSE(HeaderNameLess()(std::string_view(), Ref<String>()));
}

TEST(HeaderFields, MergeSetsAndRemoves) {
    HeaderFields fields;
    setField(fields, str("Keep"), str("1"));
    setField(fields, str("Gone"), str("2"));
    HeaderFields added;
    added.emplace(str("KEEP"), str("3"));
    added.emplace(str("gone"), nullptr);
    added.emplace(str("absent"), nullptr);
    added.emplace(str("New"), str(""));
    EXPECT_TRUE(mergeFields(fields, added, false));
    EXPECT_EQ(shown(fields), "Keep=3;New=;");
    EXPECT_TRUE(mergeFields(fields, added, true));
    EXPECT_EQ(shown(fields), "KEEP=3;New=;");
    EXPECT_TRUE(mergeFields(fields, {}, false));
    EXPECT_EQ(fields.size(), 2U);
    EXPECT_TRUE(mergeFields(fields, {}, true));
    EXPECT_TRUE(fields.empty());
}

TEST(HeaderFields, MergeRefusesANullNameBeforeItSetsAnything) {
    for (const bool replace : {false, true}) {
        HeaderFields fields;
        setField(fields, str("Old"), str("1"));
        HeaderFields added;
        added.emplace(nullptr, str("x"));
        added.emplace(str("A"), str("2"));
        EXPECT_FALSE(mergeFields(fields, added, replace));
        EXPECT_EQ(shown(fields), replace ? "" : "Old=1;");
    }
}

TEST(RequestSetters, NullNamesHaveCodesOfTheirOwn) {
    const Ref<Request> request = Request::create({});
    EXPECT_FALSE(request->setHeaderField(nullptr, str("x")));
    EXPECT_EQ(Error::get(), ErrNullArgument);
    HeaderFields fields;
    fields.emplace(nullptr, nullptr);
    EXPECT_FALSE(request->setHeaderFields(fields, false));
    EXPECT_EQ(Error::get(), ErrInvalidArgument);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

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

TEST(HeaderFields, NamesAreOneInAnyLetterCase) {
    HeaderFields fields;
    setField(fields, str("content-length"), str("1"));
    setField(fields, str("Content-Length"), str("2"));
    EXPECT_EQ(shown(fields), "content-length=2;");
    EXPECT_NE(fields.find(std::string_view("CONTENT-LENGTH")), fields.end());
    setOrRemoveField(fields, str("Content-LENGTH"), nullptr);
    EXPECT_TRUE(fields.empty());
    setOrRemoveField(fields, str("absent"), nullptr);
    EXPECT_TRUE(fields.empty());
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

TEST(HeaderFields, OrderIsThatOfLoweredCopies) {
    const char* const names[] = {"", "A", "a", "aB", "Ab0", "ab", "\x80", "\xC0", "z", "Z[", "@"};
    for (const char* const left : names) {
        for (const char* const right : names) {
            const bool byCopies = *str(left)->lowerCase() < *str(right)->lowerCase();
            EXPECT_EQ(HeaderNameLess()(str(left), str(right)), byCopies) << left << " " << right;
        }
    }
}

TEST(HeaderFields, NullComesBeforeAnyTextAndEqualsItself) {
    EXPECT_FALSE(HeaderNameLess()(Ref<String>(), Ref<String>()));
    EXPECT_TRUE(HeaderNameLess()(Ref<String>(), std::string_view()));
    EXPECT_FALSE(HeaderNameLess()(std::string_view(), Ref<String>()));
}

TEST(HeaderFields, OnlyAToZAreLowered) {
    HeaderFields fields;
    setField(fields, str("\xC3\x84"), str("1"));  // not its small letter, 0xC3 0xA4
    setField(fields, str("\xC3\xA4"), str("2"));
    setField(fields, str("@["), str("3"));
    setField(fields, str("`{"), str("4"));
    EXPECT_EQ(fields.size(), 4U);
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

TEST(RequestSetters, AnswerTheRequestItself) {
    const Ref<Request> request = Request::create({});
    EXPECT_EQ(request->referenceCount(), 1U);
    EXPECT_EQ(request->peerAddress(), nullptr);
    EXPECT_EQ(request->setUrl(str("x")), request);
    EXPECT_EQ(request->setProtocol(Request::Protocol::Https), request);
    EXPECT_EQ(request->setHost(str("x")), request);
    EXPECT_EQ(request->setPort(1), request);
    EXPECT_EQ(request->setPath(nullptr), request);
    EXPECT_EQ(request->setHeaderField(str("a"), nullptr), request);
    EXPECT_EQ(request->setHeaderFields({}, true), request);
    EXPECT_EQ(request->setBody(nullptr), request);
    EXPECT_EQ(request->setMethod(str("x")), request);
    EXPECT_EQ(request->setMethod(Request::Method::Put), request);
    EXPECT_EQ(request->setVersion(Request::Version::Http11), request);
    EXPECT_EQ(request->setCancelQuery(nullptr), request);
    EXPECT_EQ(request->setCancelArgument(1), request);
    EXPECT_EQ(request->setDownloadProgressCallback(nullptr), request);
    EXPECT_EQ(request->setUploadProgressCallback(nullptr), request);
    EXPECT_EQ(request->referenceCount(), 1U);
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

TEST(RequestSetters, HoldEachReferenceOnce) {
    const Ref<String> url = str("http://h/");
    const Ref<String> name = str("Name");
    const Ref<String> value = str("value");
    Ref<Request> request = Request::create({});
    request->setUrl(str("old"))->setUrl(url)->setHost(url)->setHost(nullptr)->setPath(url);
    request->setHeaderField(name, value);
    EXPECT_EQ(url->referenceCount(), 3U);
    EXPECT_EQ(name->referenceCount() + value->referenceCount(), 4U);
    request.reset();
    EXPECT_EQ(url->referenceCount() + name->referenceCount() + value->referenceCount(), 3U);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

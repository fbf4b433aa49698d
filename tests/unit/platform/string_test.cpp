#include "platform/runtime/string.hpp"

#include <compare>

#include <gtest/gtest.h>

#include "platform/runtime/containers.hpp"
#include "platform/runtime/string_util.hpp"

#include "tests/support/host.hpp"

namespace {

std::u32string codePointsOf(const Ref<String>& text) {
    std::size_t count = 0;
    char32_t* const copy = text->copyCodePoints(&count);
    EXPECT_EQ(copy[count], U'\0');
    std::u32string codePoints(copy, count);
    Heap::free(copy, Heap::Array);
    return codePoints;
}

TEST(String, IsMadeFromTextsBytesAndStrings) {
    EXPECT_EQ(String::create(static_cast<const char*>(nullptr)), nullptr);
    EXPECT_EQ(String::create(Ref<String>()), nullptr);
    EXPECT_EQ(plain(String::create("abcdef", 2)), "cdef");
    EXPECT_EQ(plain(String::create("abcdef", 2, 3)), "cde");
    EXPECT_EQ(String::create("a\0b", 0, 3)->length(), 3U);
    EXPECT_TRUE(String::create("")->empty());
    const Ref<String> text = str("abc");
    EXPECT_NE(String::create(text), text);
    EXPECT_EQ(*String::create(text), *text);
    EXPECT_EQ(text->cText()[3], '\0');
    EXPECT_EQ(plain(String::concat({"", "a", std::string_view("\0", 1), "b"})),
              std::string("a\0b", 3));
}

TEST(String, Searches) {
    const Ref<String> text = str("a/bc/d");
    EXPECT_EQ(text->find('/'), 1U);
    EXPECT_EQ(text->find('/', 2), 4U);
    EXPECT_EQ(text->find('x'), String::npos);
    EXPECT_EQ(text->find('/', 99), String::npos);
    EXPECT_EQ(text->find("bc"), 2U);
    EXPECT_EQ(text->find("bc", 3), String::npos);
    EXPECT_EQ(text->findLast('/'), 4U);
    EXPECT_EQ(text->findLast('/', 4), 4U);
    EXPECT_EQ(text->findLast('/', 3), 1U);
    EXPECT_GE(text->findLast('/', 0), text->length());
    EXPECT_GE(str("")->findLast('/'), 0U);
    EXPECT_EQ(plain(text->substring(2, 2)), "bc");
    EXPECT_EQ(plain(text->substring(6)), "");
    EXPECT_EQ(plain(text->substring(99)), "");
    EXPECT_EQ(text->at(5), 'd');
}

TEST(String, OrdersByOctetsAndLowersAToZOnly) {
    EXPECT_LT(*str("a"), *str("b"));
    EXPECT_LT(*str("Z"), *str("a"));
    EXPECT_LT(*str("z"), *str("\x80"));  // unsigned
    EXPECT_LT(*str(""), *str("a"));
    EXPECT_LT(*str("a"), *str("aa"));
    EXPECT_EQ(plain(str("AZ@[\xC3\x84")->lowerCase()), "az@[\xC3\x84");
    TSet<Ref<String>> set;
    set.insert(str("a"));
    set.insert(str("A"));
    set.insert(str("a"));
    set.insert(nullptr);
    EXPECT_EQ(set.size(), 3U);
    EXPECT_EQ(*set.begin(), nullptr);
}

TEST(String, OrdersTextsOfAnyLengthAsTheirLoweredCopies) {
    // Texts that are equal but for letter case and one octet, at every place of every length.
    const std::string octets("\x00@AMZ[`amz{\x7F\x80\xC1\xDA\xFF", 16);
    for (std::size_t length = 1; length <= 25; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            for (std::size_t pair = 0; pair < octets.size() * octets.size(); ++pair) {
                std::string left(length, 'k');
                std::string right(length + pair % 2, 'K');
                left[place] = octets[pair / octets.size()];
                right[place] = octets[pair % octets.size()];
                const int order = String::compareLowered(left, right);
                const auto lowered = *str(left)->lowerCase() <=> *str(right)->lowerCase();
                ASSERT_EQ(order < 0, std::is_lt(lowered)) << length << " " << place << " " << pair;
                ASSERT_EQ(order > 0, std::is_gt(lowered)) << length << " " << place << " " << pair;
            }
        }
    }
}

TEST(String, CopiesToBuffersWithATerminator) {
    std::size_t count = 0;
    char* const bytes = str(std::string_view("a\0\xff", 3))->copyBytes(&count);
    EXPECT_EQ(std::string(bytes, count + 1), std::string("a\0\xff\0", 4));
    Heap::free(bytes, Heap::Array);
    Heap::free(str("x")->copyBytes(nullptr), Heap::Array);
}

TEST(String, CodePointsComeBackWhateverTheyAre) {
    const std::u32string all = {U'a',       0x7F,       0x80,     0x7FF,     0x800,     0xD7FF,
                                0xD800,     0xDFFF,     0xE000,   0xFFFF,    0x10000,   0x10FFFF,
                                0x110000,   0x1FFFFF,   0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF,
                                0x80000000, 0xFFFFFFFF, U'\0',    U'z'};
    EXPECT_EQ(codePointsOf(String::create(std::u32string_view(all))), all);
}

TEST(String, OctetsOutsideASequenceStandForThemselves) {
    const std::pair<const char*, std::u32string> cases[] = {
        {"\x80", {0x80}},
        {"\xC3", {0xC3}},
        {"\xC3(", {0xC3, U'('}},
        {"\xE2\x82", {0xE2, 0x82}},
        {"\xE2\x82\xAC", {0x20AC}},
        {"a\xFFz", {U'a', 0xFF, U'z'}},
        {"\xC3\xC3\xA9", {0xC3, 0xE9}},
    };
    for (const auto& [octets, codePoints] : cases) {
        EXPECT_EQ(codePointsOf(str(octets)), codePoints);
    }
}

TEST(StrConv, NumTakesDigitsAlone) {
    constexpr std::pair<std::string_view, bool> cases[] = {
        {"0", true},
        {"007", true},
        {"18446744073709551615", true},
        {"000018446744073709551615", true},
        {"18446744073709551616", false},
        {"99999999999999999999999", false},
        {"", false},
        {"-0", false},
        {"+1", false},
        {" 1", false},
        {"1 ", false},
        {"1\n", false},
        {"0x1", false},
        {"1.0", false},
        {"1,000", false},
        {"a", false},
        {std::string_view("1\0", 2), false},
        {"\xD9\xA1", false},  // a digit, but no ASCII one
    };
    for (const auto& [text, good] : cases) {
        std::uint64_t value = 42;
        EXPECT_EQ(StrConv::num(text, value), good) << text;
        EXPECT_EQ(StrConv::num(str(text), value), good) << text;
        EXPECT_EQ(value == 42, !good) << text;
    }
    std::uint64_t value = 42;
    EXPECT_FALSE(StrConv::num(Ref<String>(), value));
    EXPECT_TRUE(StrConv::num("18446744073709551615", value));
    EXPECT_EQ(value, UINT64_MAX);
    EXPECT_EQ(plain(StrConv::str(0)) + plain(StrConv::str(UINT64_MAX)), "018446744073709551615");
}

TEST(StringUtil, SplitKeepsEmptySegments) {
    struct Case {
        const char* text;
        std::size_t limit;
        std::vector<std::string> segments;
    };
    const Case cases[] = {
        {"", 0, {""}},
        {"a", 0, {"a"}},
        {"/", 0, {"", ""}},
        {"/a//b/", 0, {"", "a", "", "b", ""}},
        {"a/b/c/d", 3, {"a", "b", "c/d"}},
        {"a/b", 3, {"a", "b"}},
        {"a/b/", 3, {"a", "b", ""}},
        {"a/b", 1, {"a/b"}},
    };
    for (const Case& row : cases) {
        const auto list = StringUtil::split(str(row.text), '/', row.limit);
        std::vector<std::string> segments;
        for (const Ref<String>& segment : *list) {
            segments.push_back(plain(segment));
        }
        EXPECT_EQ(segments, row.segments) << row.text;
        if (row.limit == 0) {
            EXPECT_EQ(plain(StringUtil::join(*list, '/')), row.text);
        }
    }
    EXPECT_EQ(StringUtil::split(nullptr, '/', 0), nullptr);
}

TEST(StringUtil, JoinsAndTrims) {
    TVector<Ref<String>> list;
    EXPECT_EQ(plain(StringUtil::join(list, str(", "))), "");
    list.append(str("a"));
    list.append(nullptr);
    list.append(str("b"));
    EXPECT_EQ(plain(StringUtil::join(list, str(", "))), "a, , b");
    EXPECT_EQ(plain(StringUtil::join(list, '\0')), std::string("a\0\0b", 4));
    EXPECT_EQ(plain(StringUtil::trim(str(" \t\r\n\v\fa b\f\v\n\r\t "))), "a b");
    EXPECT_EQ(plain(StringUtil::trim(str(" \t "))), "");
    EXPECT_EQ(plain(StringUtil::trim(str("\u00a0x"))), "\u00a0x");
    EXPECT_EQ(StringUtil::trim(Ref<String>()), nullptr);
}

TEST(StringPrinter, ModesHoldForOneNumber) {
    const Ref<StringPrinter> printer = StringPrinter::create();
    printer->text("a").text(Ref<String>()).text(str("b")).character(U'\u20ac').character(0);
    printer->hexadecimal().padded(2).number(std::uint64_t{0xA}).text(" ");
    printer->number(std::uint64_t{10}).text(" ").padded(3).number(std::int64_t{7}).text(" ");
    printer->number(INT64_MIN).text(" ").hexadecimal().padded(2).number(std::uint64_t{0xABCDEF});
    EXPECT_EQ(plain(printer->toString()),
              std::string("a(null)b\u20ac\0", 12) + "0a 10 007 -9223372036854775808 abcdef");
    printer->hexadecimal().clear();
    EXPECT_EQ(plain(printer->number(std::uint64_t{255}).toString()), "255");
}

}  // namespace

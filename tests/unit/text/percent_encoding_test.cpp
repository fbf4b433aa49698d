#include <gtest/gtest.h>

#include "net/http/http.hpp"
#include "tests/support/host.hpp"
#include "tests/support/plain_rules.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

struct Conversion {
    const char* name;
    std::string_view input;
    std::string_view output;
};

constexpr Conversion encodings[] = {
    {"BlankIsNoPlus", " ", "%20"},
    {"TheSeven", "%+,/:?\\", "%25%2b%2c%2f%3a%3f%5c"},
    {"Controls", std::string_view("\0\x1f\n", 3), "%00%1f%0a"},
    {"TwoOctets", "\u00e9", "%c3%a9"},
    {"ThreeOctets", "\u20ac\uffff", "%e2%82%ac%ef%bf%bf"},
    {"FourOctets", "\U00010000\U0010ffff", "%f0%90%80%80%f4%8f%bf%bf"},
    {"AmongKept", "a b~c d", "a%20b~c%20d"},
    {"StrayOctetStandsForItself", "x\xffy", "x%c3%bfy"},
};

TEST(HttpEncode, Table) {
    for (const Conversion& row : encodings) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(plain(Request::httpEncode(str(row.input))), row.output);
    }
}

TEST(HttpEncode, CodePointsWithoutUtf8Vanish) {
    for (const char32_t gone :
         {char32_t{0xD800}, char32_t{0xDFFF}, char32_t{0x110000}, char32_t{0x7FFFFFFF}}) {
        const char32_t text[] = {U'a', gone, U'b'};
        EXPECT_EQ(plain(Request::httpEncode(String::create(std::u32string_view(text, 3)))), "ab")
            << std::hex << static_cast<std::uint32_t>(gone);
    }
    for (const char32_t kept : {char32_t{0xD7FF}, char32_t{0xE000}, char32_t{0x10FFFF}}) {
        EXPECT_NE(plain(Request::httpEncode(String::create(std::u32string_view(&kept, 1)))), "");
    }
}

constexpr Conversion decodings[] = {
    {"PlusBehindTheFirstPercent", "a+b%21", "a+b!"},
    {"PlusTurnsIntoBlank", "%21a+b", "!a b"},
    {"PlusAtOnce", "%21+", "! "},
    {"TwoOctets", "%C3%A9", "\u00e9"},
    {"LowerDigits", "%e2%82%ac", "\u20ac"},
    {"FourOctets", "%F0%9F%98%80", "\U0001f600"},
    {"Letter", "%41", "A"},
    {"Zero", "a%00b", std::string_view("a\0b", 3)},
    {"OneDigitAtTheEnd", "%4", "%4"},
    {"NoDigitAtTheEnd", "%41%", "A%"},
    {"NoDigits", "%zz", "%zz"},
    {"SecondIsNone", "%4z", "%4z"},
    {"PercentEndsAnEscape", "%%41", "%%41"},
    {"PercentEndsADigit", "%4%41", "%4%41"},
    {"PlusEndsAnEscape", "%+", "%+"},
    {"PlusEndsADigit", "%4+", "%4+"},
    {"LeadF5", "%F5", "%f5"},
    {"LeadFF", "a%FFb", "a%ffb"},
    {"NoContinuation", "x%C3%28y", "x%c3%28y"},
    {"BadThirdOctet", "%E2%82%28", "%e2%82%28"},
    {"BadFourthOctet", "%F0%9F%98%28", "%f0%9f%98%28"},
    {"ContinuationAsLead", "%80%80", "?"},
    {"ContinuationAsLeadTwice", "%BF%BF%41", "?A"},
    {"Overlong", "%C0%80", std::string_view("\0", 1)},
    {"Surrogate", "%ED%A0%80", "\xED\xA0\x80"},
    {"BeyondUnicode", "%F4%90%80%80", "\xF4\x90\x80\x80"},
    {"WaitingAtTheEnd", "%C3", "%C3"},
    {"WaitingThreeAtTheEnd", "a%F0%9f%98", "a%F0%9f%98"},
    {"OrderOfLiteralText", "a%41b%FFc%42d", "aAb%ffcBd"},
    {"LiteralBehind", "%41b c/d", "Ab c/d"},
};

TEST(HttpDecode, Table) {
    for (const Conversion& row : decodings) {
        SCOPED_TRACE(row.name);
        const Ref<String> input = str(row.input);
        EXPECT_EQ(plain(Request::httpDecode(input)), row.output);
        EXPECT_EQ(input->referenceCount(), 1U);
    }
}

TEST(HttpDecode, AgreesWithAPlainRewriteOfItsRules) {
    plain_rules::Texts texts({"%41", "%C3", "%A9", "%e2%82", "%ac", "%F0%9F", "%98%80", "%80",
                              "%F5", "%ED%A0%80", "%F4%90%80%80", "%", "%4", "z", "+", "\u00e9",
                              "\xFF"});
    std::size_t compared = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string text = texts.next(7);
        const auto wanted = plain_rules::decode(plain_rules::charactersOf(text));
        compared += wanted ? 1U : 0U;
        ASSERT_TRUE(!wanted || plain_rules::decodeByLibrary(text) == *wanted)
            << testing::PrintToString(text);
    }
    EXPECT_GT(compared, 5'000U);
}

TEST(PercentEncoding, NullIsTheOnlyError) {
    for (auto* const function : {&Request::httpEncode, &Request::httpDecode}) {
        Error::set(0);
        EXPECT_FALSE(function(nullptr));
        EXPECT_EQ(Error::get(), ErrNullArgument);
    }
}

TEST(PercentEncoding, EveryCodePointComesBack) {
    for (char32_t c = 1; c < 0x110000; c += c < 0x3000 ? 1 : 97) {
        if (c >= 0xD800 && c < 0xE000) {
            continue;
        }
        const char32_t text[] = {U'%', c};
        const Ref<String> input = String::create(std::u32string_view(text, 2));
        ASSERT_EQ(plain(Request::httpDecode(Request::httpEncode(input))), plain(input))
            << std::hex << static_cast<std::uint32_t>(c);
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

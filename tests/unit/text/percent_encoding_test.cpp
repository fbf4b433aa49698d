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

std::string escapesOf(const std::vector<unsigned>& bytes) {
    std::string text;
    for (const unsigned byte : bytes) {
        text += {'%', "0123456789abcdef"[byte / 16], "0123456789abcdef"[byte % 16]};
    }
    return text;
}

/// Every sequence of two bytes, and longer ones of those where something changes.
TEST(HttpDecode, AgreesOnEveryShortSequenceAndOnBoundaries) {
    std::vector<std::vector<unsigned>> sequences;
    for (unsigned byte = 0; byte < 0x10000; ++byte) {
        sequences.push_back({byte / 256, byte % 256});
    }
    for (unsigned byte = 0; byte < 256; ++byte) {
        sequences.push_back({byte});
    }
    for (unsigned surrogate = 0; surrogate < 0x800; ++surrogate) {
        sequences.push_back({0xED, 0xA0 + surrogate / 64, 0x80 + surrogate % 64});
    }
    const unsigned boundaries[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0xBF, 0xC0,
                                   0xDF, 0xE0, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF};
    for (const unsigned first : boundaries) {
        for (const unsigned second : boundaries) {
            for (const unsigned third : boundaries) {
                sequences.push_back({first, second, third});
                for (const unsigned fourth : boundaries) {
                    sequences.push_back({first, second, third, fourth});
                }
            }
        }
    }
    for (const std::vector<unsigned>& bytes : sequences) {
        const std::string text = escapesOf(bytes);
        ASSERT_EQ(plain_rules::decode(plain_rules::charactersOf(text)),
                  plain_rules::decodeByLibrary(text))
            << text;
    }
}

TEST(PercentEncoding, NullIsTheOnlyError) {
    for (auto* const function : {&Request::httpEncode, &Request::httpDecode}) {
        Error::set(0);
        EXPECT_FALSE(function(nullptr));
        EXPECT_EQ(Error::get(), ErrNullArgument);
    }
}

TEST(PercentEncoding, EveryCodePointComesBack) {
    constexpr char32_t atOnce = 64;
    for (char32_t first = 0; first < 0x110000; first += atOnce) {
        std::u32string text = U"%";
        for (char32_t c = first; c < first + atOnce; ++c) {
            text += c;
        }
        const std::u32string_view characters = text;
        const Ref<String> input = String::create(characters);
        const bool isSurrogate = first >= 0xD800 && first < 0xE000;
        ASSERT_EQ(plain(Request::httpDecode(Request::httpEncode(input))),
                  isSurrogate ? "%" : plain(input))
            << std::hex << static_cast<std::uint32_t>(first);
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

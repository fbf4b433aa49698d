// Input: a text.

#include "platform/runtime/string_util.hpp"

#include "fuzz/target.hpp"
#include "net/http/http.hpp"
#include "tests/support/plain_rules.hpp"

namespace {

using Libraries::Networks::HTTP::Client::Request;

bool isKept(char octet) {
    return octet >= 0x21 && std::string_view("%+,/:?\\").find(octet) == std::string_view::npos;
}

bool isHexadecimal(char octet) {
    return (octet >= '0' && octet <= '9') || (octet >= 'a' && octet <= 'f');
}

/// Tells whether a text has nothing in it but what is kept and complete escapes.
bool isEncoded(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            if (i + 2 >= text.size() || !isHexadecimal(text[i + 1]) ||
                !isHexadecimal(text[i + 2])) {
                return false;
            }
            i += 2;
        } else if (!isKept(text[i])) {
            return false;
        }
    }
    return true;
}

/// Answers the text as its code points say, without those that have no escape.
Ref<String> escapable(std::string_view text) {
    StringPrinter printer;
    for (const char32_t c : plain_rules::charactersOf(std::string(text))) {
        if (c < 0xD800 || (c >= 0xE000 && c < 0x110000)) {
            printer.character(c);
        }
    }
    return printer.toString();
}

}  // namespace

/// Decoding takes back what encoding did, and does what the plain rewrite of its rules does; what needs
/// neither comes back as the same object.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Ref<String> text =
        String::create(std::string_view(reinterpret_cast<const char*>(data), size));
    const Ref<String> encoded = Request::httpEncode(text);
    const std::string_view octets = text->view();
    fuzz::require(isEncoded(encoded->view()), "an encoded text has nothing that needs an escape");
    fuzz::require(std::all_of(octets.begin(), octets.end(), isKept) == (encoded == text),
                  "only a text without need of escapes is the same object");
    fuzz::require(Request::httpDecode(encoded)->view() == escapable(octets)->view(),
                  "decoding takes encoding back");

    const Ref<String> decoded = Request::httpDecode(text);
    fuzz::require(octets.find('%') != octets.npos || decoded == text,
                  "a text without an escape is the same object");
    const std::string plain(octets);
    const auto expected = plain_rules::decode(plain_rules::charactersOf(plain));
    fuzz::require(!expected || plain_rules::decodeByLibrary(plain) == *expected,
                  "decoding agrees with its rules");
    fuzz::require(decoded->length() <= 2 * size, "a decoded text is not longer than its octets");
    return 0;
}

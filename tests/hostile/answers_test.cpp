// Answers that no honest server sends: bytes out of place, and fields that contradict each other.
#include "tests/exchange/answers.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using namespace std::string_literals;  // NOLINT(google-build-using-namespace): texts that hold NULs

const std::string Ok = "HTTP/1.1 200 OK\r\n";

// NOLINTNEXTLINE(readability-function-size): a table
std::vector<Answer> answers() {
    const std::string gzip = "\x1f\x8b\x08\0\0\0\0\0\0\xff\x4b\x04\0\x43\xbe\xb7\xe8\1\0\0\0"s;
    const std::string noLength = "Failed to convert Content-Length header: ";
    return {
        {"PageWithoutAHead", "<html lang=en> <body> of old\n\n<p>", 400, "<body> of old", "",
         "<p>"},
        {"StatusLineAlone", Ok, 200, "OK", "", "", NoMore},
        {"CodeOfOneDigit", "HTTP/1.1 2 x\r\n\r\n", 2, "x", "", ""},
        {"CodeWithALeadingZero", "HTTP/1.1 099 x\r\n\r\n", 99, "x", "", ""},
        {"CodeOfFourDigits", "HTTP/1.1 1000 x\r\n\r\n", 1000, "x", "", ""},
        {"CodeOfFortyDigits", "HTTP/1.1 " + std::string(40, '9') + " x\r\n\r\n", 400, "x", "", ""},
        {"TwoReturnsAndALineFeed", Ok + "A: b\r\r\nC: d\r\n\r\nabc", 200, "OK", "A=b;",
         "C: d\r\n\r\nabc"},
        {"ReturnInAValue", Ok + "A: b\rC: d\r\n\r\n", 200, "OK", "A=b;C=d;", ""},
        {"OctetsEverywhere", "HTTP/1.1 200 O\0\xff\x1b[2J\r\nN\0\x80: v\0\xe2(\r\n\r\n\0\xff"s, 200,
         "O\0\xff\x1b[2J"s, "N\0\x80=v\0\xe2(;"s, "\0\xff"s},
        {"OctetsInAStrayLine", Ok + "\0\x1b]0;x\x07\r\n\r\n"s, 200, "OK", "", "",
         "Invalid HTTP header entry: \0\x1b]0;x\x07"s},
        {"TlsAlertWithoutALineFeed", "\x15\x03\x01\0\x02\x02\x46"s, 0, "(null)", "", "", NoMore},
        {"ChunksWithALength",
         Ok + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n0\r\n\r\n", 200, "OK",
         "Content-Length=5;Transfer-Encoding=chunked;", "0\r\n\r\n"},
        {"ChunksWithExtensionsAndTrailers",
         Ok + "Transfer-Encoding: chunked, chunked\r\n\r\n1;x=y\r\na\r\n0\r\nT: v\r\n\r\n", 200,
         "OK", "Transfer-Encoding=chunked, chunked;", "1;x=y\r\na\r\n0\r\nT: v\r\n\r\n"},
        {"CompressedBytes", Ok + "Content-Encoding: gzip\r\n\r\n" + gzip, 200, "OK",
         "Content-Encoding=gzip;", gzip},
        {"ThousandTimesTheSameField", Ok + repeated("A: b\r\n", 1000) + "\r\n", 200, "OK", "A=b;",
         ""},
        {"ThousandLengthsAndAnother",
         Ok + repeated("Content-Length: 9\r\n", 1000) + "Content-Length: 3\r\n\r\nabc", 200, "OK",
         "Content-Length=9;", "abc"},
        {"LengthOfAThousandDigits", Ok + "Content-Length: " + repeated("7", 1000) + "\r\n\r\nabc",
         200, "OK", "Content-Length=" + repeated("7", 1000) + ";", "abc",
         noLength + hexDec(UINT64_MAX)},
    };
}

TEST(HostileAnswer, IsAResponse) {
    for (const Answer& row : answers()) {
        expectAnswer(row);
    }
}

TEST(HostileAnswer, IsAFailure) {
    const Broken rows[] = {
        {"HalfOfAllLengths", Ok + "Content-Length: 9223372036854775808\r\n\r\nabc", Close{}, "abc",
         "Could not receive data; error: " + hexDec(ErrEndOfStream)},
        {"TlsAlertWithALineFeed", "\x15\x03\x03\0\x02\x02\x0a"s, Close{}, "",
         "Invalid HTTP response"},
        {"LineFeedsAlone", std::string(1000, '\n'), Close{}, "", "Invalid HTTP response"},
    };
    for (const Broken& row : rows) {
        expectFailure(row);
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client

#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "platform/log/log.hpp"

#include "net/http/http.hpp"

/// The library's way to the system log: three channels, three levels, and the debug switches.
namespace Libraries::Networks::HTTP::Utils {

/// The channels, in the order in which they are registered when the library is loaded.
enum class Channel : std::uint8_t { HttpClient, HttpUtils, OpenSslBio };

enum class Level : std::uint8_t {
    Trace = 1,    ///< Detail; most of it needs a debug switch as well.
    Warning = 3,  ///< A fallback taken, a problem forgiven.
    Failure = 4,  ///< An operation that is abandoned.
};

/// A number as records carry it: hexadecimal, "h (", decimal, ")".
template <class Number>
struct HexDec {
    Number value;
};

constexpr HexDec<std::uint16_t> hexDec(std::uint16_t value) noexcept {
    return {value};
}
constexpr HexDec<std::uint32_t> hexDec(std::uint32_t value) noexcept {
    return {value};
}
constexpr HexDec<std::uint64_t> hexDec(std::uint64_t value) noexcept {
    return {value};
}
constexpr HexDec<std::int32_t> hexDec(std::int32_t value) noexcept {
    return {value};
}
constexpr HexDec<std::int64_t> hexDec(std::int64_t value) noexcept {
    return {value};
}

/// A record under construction: false when the log does not want it, and then nothing may be
/// computed for it. It becomes a line of the log when it goes out of scope.
///
/// A value that writing the record could change, above all the thread's error code, is taken
/// before. The pieces are collected here: what makes one may well write a record of its own.
class LogRecord {
public:
    LogRecord(Channel channel, Level level);
    LogRecord(const LogRecord&) = delete;
    LogRecord& operator=(const LogRecord&) = delete;
    ~LogRecord();

    explicit operator bool() const noexcept { return isWanted_; }

    LogRecord& operator<<(std::string_view text);
    LogRecord& operator<<(const Ref<String>& text);
    template <TextLike Text>
    LogRecord& operator<<(const Text& text) {
        return *this << viewOf(text);
    }
    /// Of bools alone: a pointer would convert to one.
    template <std::same_as<bool> Bool>
    LogRecord& operator<<(Bool value) {
        return *this << std::string_view(value ? "true" : "false");
    }

    template <class Number>
    LogRecord& operator<<(HexDec<Number> number) {
        // The hexadecimal digits are those of the number's own width, a negative one's too.
        appendHexDec(static_cast<std::make_unsigned_t<Number>>(number.value),
                     static_cast<std::uint64_t>(number.value), std::is_signed_v<Number>);
        return *this;
    }

private:
    void appendHexDec(std::uint64_t digits, std::uint64_t value, bool isSigned);

    Channel channel_;
    Level level_;
    bool isWanted_;
    StringPrinter text_;
};

/// Writes a dump of memory at level 1, if the log wants it.
void dumpBytes(Channel channel, const void* start, std::size_t count);

/// What the words of the boot parameter switch on.
struct DebugSwitches {
    bool connect = false;
    bool sslCerts = false;
};

/// Reads the words of a boot parameter; null has none.
DebugSwitches readDebugSwitches(const Ref<String>& bootParameter);

/// Trace records of connecting, of the TLS handshake and of every exchange are wanted.
bool connectDebug();
/// A dump of every certificate is wanted.
bool sslCertsDebug();

/// Tells whether the trace records of a request are wanted: by its flag `Verbose`, else by
/// `connectDebug`.
bool isDebugRequest(Definitions::Set<Client::Request::Flag> flags);

}  // namespace Libraries::Networks::HTTP::Utils

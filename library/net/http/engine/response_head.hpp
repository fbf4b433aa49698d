#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "net/http/engine/redirect.hpp"
#include "net/http/engine/request_obj.hpp"

namespace Libraries::Networks::HTTP::Client {

/// Cuts received bytes into lines. CR LF, a lone CR and a lone LF each end a line, also when CR and
/// LF arrive in different pieces. No byte is searched twice, whatever pieces a line arrives in.
class LineReader {
public:
    /// Sets the bytes to read: first the unfinished line of before, then what has arrived since.
    void feed(std::string_view bytes) noexcept;
    /// Answers the next complete line without its end, or nothing.
    std::optional<std::string_view> next() noexcept;
    /// Answers the bytes behind the last complete line.
    [[nodiscard]] std::string_view rest() const noexcept { return bytes_.substr(start_); }
    /// Tells whether the last line ended with a CR at the very end of the bytes: a LF that comes
    /// next belongs to it.
    [[nodiscard]] bool awaitsLineFeed() const noexcept { return afterCr_; }

private:
    [[nodiscard]] std::size_t search(char octet, std::size_t from, std::size_t to) const noexcept;

    std::string_view bytes_;
    std::size_t start_ = 0;     // of the line that is being read
    std::size_t searched_ = 0;  // before it there is no line end
    std::size_t lineFeed_ = 0;  // the first LF at or behind `searched_`, or the end of the bytes
    bool afterCr_ = false;
};

/// Parses the head of one hop's response from pieces (RFC 9112, sections 4 and 5), and decides at
/// its end whether the hop is a redirect. Knows nothing of sockets.
class ResponseHead {
public:
    /// The value of `contentLength` without a usable "Content-Length".
    static constexpr std::uint64_t Absent = ~std::uint64_t{0};

    enum class State { Incomplete, Ended, Failed };

    ResponseHead(const RequestObj& request, const HopTarget& hop, RedirectState& redirects) noexcept
        : request_(request), hop_(hop), redirects_(redirects) {}

    /// Takes the unconsumed bytes of before and what has arrived behind them, and parses all
    /// complete lines.
    ///
    /// @return `Failed` with the thread's error code set and the record written.
    State consume(std::string_view bytes);
    /// Answers the bytes that `consume` left: an unfinished line, or what follows the head.
    [[nodiscard]] std::string_view rest() const noexcept { return lines_.rest(); }
    /// After the end: a LF that comes next is part of the head.
    [[nodiscard]] bool awaitsLineFeed() const noexcept { return lines_.awaitsLineFeed(); }

    [[nodiscard]] bool inHead() const noexcept { return inHead_; }
    /// Some read of this hop has delivered bytes.
    [[nodiscard]] bool dataSeen() const noexcept { return dataSeen_; }
    /// The hop is a redirect that is followed: its body is of no interest.
    [[nodiscard]] bool skipping() const noexcept { return skipping_; }
    [[nodiscard]] std::uint64_t contentLength() const noexcept { return contentLength_; }
    [[nodiscard]] std::uint64_t statusCode() const noexcept { return statusCode_; }
    [[nodiscard]] const Ref<String>& reason() const noexcept { return reason_; }
    [[nodiscard]] const HeaderFields& fields() const noexcept { return fields_; }

private:
    [[nodiscard]] bool takeStatusLine(std::string_view line);
    void takeHeaderLine(std::string_view line);
    void takeContentLength(std::string_view value);
    State end();

    const RequestObj& request_;
    const HopTarget& hop_;
    RedirectState& redirects_;
    LineReader lines_;
    bool statusPending_ = true;
    bool inHead_ = true;
    bool dataSeen_ = false;
    bool skipping_ = false;
    std::uint64_t statusCode_ = 0;
    std::uint64_t contentLength_ = Absent;
    Ref<String> reason_;
    HeaderFields fields_;
};

}  // namespace Libraries::Networks::HTTP::Client

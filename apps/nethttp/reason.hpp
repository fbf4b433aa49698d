#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/// The records of one failed exchange that say what failed, and why.
class FailureRecords {
public:
    /// Takes the text of a record of failure.
    void add(std::string_view text);
    /// Tells whether a server's certificate was refused.
    [[nodiscard]] bool certificateRefused() const { return certificateRefused_; }
    /// Answers, as a sentence for a person, what failed and why.
    ///
    /// @param code  The exchange's error code, which has to do when there is no record.
    /// @param peer  The address that the exchange spoke to; empty when it got none.
    [[nodiscard]] std::string reason(std::uint32_t code, std::string_view peer) const;

private:
    std::string what_;         ///< The first record that names a step.
    std::string certificate_;  ///< What is wrong with the certificate.
    std::string tls_;          ///< What OpenSSL says last.
    bool certificateRefused_ = false;
};

}  // namespace cli

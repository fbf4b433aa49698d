#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "demo_server.hpp"

namespace cli {

/// What the steps of the demonstration act on: a plain server, two under TLS, and the environment's
/// folder with a bundle that trusts the authority of both.
class DemoWorld {
public:
    DemoWorld() = default;
    DemoWorld(const DemoWorld&) = delete;
    DemoWorld& operator=(const DemoWorld&) = delete;
    /// Removes the folder.
    ~DemoWorld();

    /// Makes all of it. To be called before any other thread runs: it sets environment variables.
    ///
    /// @return An empty text, or what could not be made.
    [[nodiscard]] std::string start();

    [[nodiscard]] const DemoServer& plain() const { return *plain_; }
    /// Shows a certificate that is in order.
    [[nodiscard]] const DemoServer& trusted() const { return *trusted_; }
    /// Shows a certificate that ended yesterday.
    [[nodiscard]] const DemoServer& expired() const { return *expired_; }

private:
    bool makeFolder(std::string_view bundle);

    std::string folder_;
    std::unique_ptr<DemoServer> plain_;
    std::unique_ptr<DemoServer> trusted_;
    std::unique_ptr<DemoServer> expired_;
};

/// Keeps the log's records for a while instead of writing them; one at a time in the program.
class KeptRecords {
public:
    /// @param level  The log's level meanwhile.
    explicit KeptRecords(std::uint32_t level);
    KeptRecords(const KeptRecords&) = delete;
    KeptRecords& operator=(const KeptRecords&) = delete;
    ~KeptRecords();

    /// Answers the records that begin with one of the texts, a line each.
    [[nodiscard]] std::string thatBeginWith(const std::vector<std::string_view>& starts) const;

private:
    std::uint32_t levelBefore_;
    std::vector<std::string> texts_;
};

}  // namespace cli
